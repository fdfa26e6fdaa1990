#pragma once

#include <Correction/CabinetV4.h>

#include <optional>
#include <typeinfo>

namespace Correction {

/// A cabinet's description for reading. The library's own cabinets lend theirs, since copying one copies all its cards and
/// modules and geometry asks every cabinet of a wall; a host's cabinet is asked for a copy.
class CabinetDescription
{
public:
    explicit CabinetDescription(ICabinet &cabinet)
    {
        if (typeid(cabinet) == typeid(CabinetV4)) {
            m_info = static_cast<CabinetV4 &>(cabinet).m_pCabinet;
            m_code = m_info ? enSuccess : enInvalidParameter;
        } else {
            m_copy.emplace();
            m_code = cabinet.GetCabinetInfo(*m_copy);
            m_info = &*m_copy;
        }
    }
    CabinetDescription(const CabinetDescription &) = delete;
    CabinetDescription &operator=(const CabinetDescription &) = delete;

    /// What `ICabinet::GetCabinetInfo` answers. The description may be looked at only after 0.
    EnumErrorCode code() const { return m_code; }
    const CabinetInfo *operator->() const { return m_info; }
    const CabinetInfo &operator*() const { return *m_info; }

private:
    std::optional<CabinetInfo> m_copy;
    const CabinetInfo *m_info = nullptr;
    EnumErrorCode m_code = enSuccess;
};

} // namespace Correction
