#pragma once

#include <Correction/CabinetV4.h>

#include <optional>
#include <typeinfo>

namespace Correction {

/// A cabinet's description for reading. Those of the library's own cabinets are read in place, since a copy would contain
/// all cards and modules, and geometry visits every cabinet of a wall; a host's cabinet returns a copy.
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

    /// What `ICabinet::GetCabinetInfo` returns. The description is valid only after `enSuccess`.
    EnumErrorCode code() const { return m_code; }
    const CabinetInfo *operator->() const { return m_info; }
    const CabinetInfo &operator*() const { return *m_info; }

private:
    std::optional<CabinetInfo> m_copy;
    const CabinetInfo *m_info = nullptr;
    EnumErrorCode m_code = enSuccess;
};

} // namespace Correction
