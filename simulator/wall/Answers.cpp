#include "Answers.h"

#include <adapter/Operations.h>

#include <utility>

namespace Simulator {

Answer Answers::answer(const Begun &begun, const Call &call, const Act &act, Aftermath &after)
{
    const Action &action = begun.action;
    Answer answer;
    bool tellsNote = !action.note.isEmpty();
    switch (action.type) {
    case Action::Wall:
        tellsNote = performCorrupted(begun, call, act, answer);
        break;
    case Action::True:
        answer.reply = action.reply;
        break;
    case Action::Resolve:
        answer.result = action.value;
        break;
    case Action::False:
        answer = {false, action.reply, {}};
        break;
    case Action::Reject:
        answer = {false, {}, {}, action.error};
        if (action.note.isEmpty())
            m_log.note(begun.serial, QStringLiteral("rejected"));
        break;
    case Action::Throw:
        answer = {false, {}, {}, action.error};
        m_log.note(begun.serial, QStringLiteral("thrown"));
        break;
    case Action::Vanish:
    case Action::Restart:
        tellsNote = losePower(action, call, after);
        answer.result = false;
        break;
    case Action::Later: // held until Uploads::settle() or reject()
    case Action::Never:
        answer.result = false;
        break;
    }
    if (action.headers)
        answer.headers = *action.headers;
    else if (action.type == Action::True)
        answer.headers = okHeaders();
    if (tellsNote)
        m_log.note(begun.serial, action.note);
    return answer;
}

bool Answers::performCorrupted(const Begun &begun, const Call &call, const Act &act, Answer &answer)
{
    const Action &action = begun.action;
    if (isLost(begun, call)) {
        m_log.note(begun.serial, powerLost);
        answer.result = false;
        return !action.note.isEmpty();
    }
    answer = perform(begun.serial, call, act);
    return action.corrupt ? answer.result && action.corrupt(answer.reply, m_state.random) : !action.note.isEmpty();
}

bool Answers::losePower(const Action &action, const Call &call, Aftermath &after)
{
    Event event;
    event.type = action.type == Action::Vanish ? Event::Unplug : Event::Restart;
    event.deviceKey = call.deviceKey;
    if (!m_events.happen(event, after))
        return false;
    if (event.type == Event::Unplug && action.backAfter)
        m_events.addLater(Event::Plug, call.deviceKey, *action.backAfter, after);
    return true;
}

bool Answers::isLost(const Begun &begun, const Call &call) const
{
    const DeviceState *const device = std::as_const(m_state).device(call.deviceKey);
    return device && device->plugged
           && (begun.generation != m_clock.generation() || device->powerLosses != begun.powerLosses);
}

Answer Answers::perform(quint64 serial, const Call &call, const Act &act)
{
    DeviceState *const device = m_state.device(call.deviceKey);
    try {
        const bool isOfDevice =
            !call.deviceKey.isNull() || Adapter::findOperation(call.operation)->address != Adapter::Address::Wall;
        if (!device && isOfDevice)
            throw Refusal{QStringLiteral("unknown device"), {}};
        if (device && !device->plugged)
            throw Refusal{unplugged, {}};
        // An upload changes no persistent state, and is too frequent to be compared.
        if (isUpload(call) && (!m_state.directory || m_state.directory->isCertain(call.deviceKey)))
            return act(m_state, device, call);
        return m_state.saved(device, [&] { return act(m_state, device, call); });
    } catch (const Refusal &refusal) {
        m_log.note(serial, refusal.reason);
        return {false, {}, refusal.headers};
    }
}

} // namespace Simulator
