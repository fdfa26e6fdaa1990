#include "PromiseModel.h"

#include <algorithm>
#include <array>

namespace Trust {

namespace {

constexpr int shortTime = 1;      // milliseconds
constexpr int longTime = 3600000; // never over in a test

Ending fulfilled(std::vector<int> values)
{
    Ending ending;
    ending.status = Ending::Status::Fulfilled;
    ending.values = std::move(values);
    return ending;
}

Ending rejected(Error error)
{
    Ending ending;
    ending.status = Ending::Status::Rejected;
    ending.error = error;
    return ending;
}

bool isCaught(Filter filter, ErrorKind kind)
{
    switch (filter) {
    case Filter::All:
        return true;
    case Filter::Base:
    case Filter::BaseByValue:
        return kind == ErrorKind::Base || kind == ErrorKind::Derived;
    case Filter::Derived:
        return kind == ErrorKind::Derived;
    case Filter::Standard:
        return kind == ErrorKind::Standard || kind == ErrorKind::Timeout;
    case Filter::Int:
        return kind == ErrorKind::Int;
    case Filter::Timeout:
        return kind == ErrorKind::Timeout;
    }
    return false;
}

/// What the handlers of a node do, and what comes of it.
class Evaluation
{
public:
    explicit Evaluation(Node &node) : m_node(node) {}

    void evaluate()
    {
        using Kind = Node::Kind;
        for (const NodePtr &child : m_node.children)
            include(*child);
        const Ending source = m_node.children.empty() ? Ending() : m_node.children.front()->ending;
        switch (m_node.kind) {
        case Kind::Resolved:
            m_node.ending = fulfilled(valuesOf(m_node.type, m_node.constant));
            break;
        case Kind::Rejected:
            m_node.ending = rejected(m_node.error);
            break;
        case Kind::Settled:
            m_node.ending = settled();
            break;
        case Kind::Never:
            break;
        case Kind::Attempt:
            m_node.ending = onValue(m_node.handlers[0], {});
            break;
        case Kind::All: {
            std::vector<Ending> endings;
            for (const NodePtr &child : m_node.children)
                endings.push_back(child->ending);
            m_node.ending = gathered(endings);
            break;
        }
        case Kind::MapNow:
            m_node.ending = gathered(forEach(m_node.sequence));
            break;
        case Kind::EachNow:
            m_node.ending = kept(fulfilled(m_node.sequence), gathered(forEach(m_node.sequence)));
            break;
        case Kind::Then:
            m_node.ending = isFulfilled(source) ? onValue(m_node.handlers[0], source.values) : source;
            break;
        case Kind::ThenOr:
            m_node.ending =
                isFulfilled(source) ? onValue(m_node.handlers[0], source.values) : onError(m_node.handlers[1], source);
            break;
        case Kind::Fail:
            m_node.ending = onError(m_node.handlers[0], source);
            break;
        case Kind::Finally:
            m_node.ending = source.isPending() ? source : kept(source, onValue(m_node.handlers[0], {}));
            break;
        case Kind::Tap:
            m_node.ending = isFulfilled(source) ? kept(source, onValue(m_node.handlers[0], source.values)) : source;
            break;
        case Kind::TapFail:
            m_node.ending = source.isRejected() && isCaught(m_node.handlers[0].filter, source.error.kind)
                                ? kept(source, onError(m_node.handlers[0], source))
                                : source;
            break;
        case Kind::Delay:
        case Kind::HandOver:
            m_node.ending = source;
            break;
        case Kind::Timeout:
            m_node.ending = source.isPending() ? rejected({ErrorKind::Timeout, 0}) : source;
            break;
        case Kind::Map:
            m_node.ending = isFulfilled(source) ? gathered(forEach(source.values)) : source;
            break;
        case Kind::Each:
            m_node.ending = isFulfilled(source) ? kept(source, gathered(forEach(source.values))) : source;
            break;
        case Kind::Fan:
            m_node.ending = source.isPending() ? source : fan(source);
            break;
        case Kind::Convert:
            m_node.ending = isFulfilled(source) ? fulfilled({}) : source;
            break;
        }
    }

    /// Of a handler that is called. Whether it fails, and how, does not depend on the values that it is given.
    Ending called(const Handler &handler, const std::vector<int> &values, int argument, const Error &current)
    {
        m_node.calls.push_back({handler.id, argument});
        switch (handler.what) {
        case Handler::What::Value:
            break;
        case Handler::What::Throw:
            return rejected(handler.error);
        case Handler::What::Rethrow:
            return rejected(current);
        case Handler::What::Promise:
            include(*handler.child);
            return handler.child->ending;
        case Handler::What::Wait: {
            include(*handler.child);
            if (handler.child->ending.isRejected())
                return handler.child->ending;
            std::vector<int> both = values;
            both.insert(both.end(), handler.child->ending.values.begin(), handler.child->ending.values.end());
            return fulfilled(valuesOf(m_node.type, mix(handler.constant, both)));
        }
        }
        return fulfilled(valuesOf(m_node.type, mix(handler.constant, values)));
    }

private:
    static bool isFulfilled(const Ending &ending) { return ending.status == Ending::Status::Fulfilled; }

    void include(const Node &other)
    {
        m_node.calls.insert(m_node.calls.end(), other.calls.begin(), other.calls.end());
        m_node.promises += other.promises;
    }

    Ending settled() const
    {
        const Step &first = m_node.steps.front();
        switch (first.what) {
        case Step::What::Value:
            return fulfilled(valuesOf(m_node.type, first.constant));
        case Step::What::Promise: {
            Ending ending = m_node.children[std::size_t(first.child)]->ending;
            if (m_node.type == Type::Nothing)
                ending.values.clear();
            return ending;
        }
        case Step::What::Error:
        case Step::What::ErrorPointer:
        case Step::What::Throw:
            break;
        }
        return rejected(first.error);
    }

    Ending onValue(const Handler &handler, std::vector<int> values)
    {
        if (handler.takesNothing)
            values.clear();
        return called(handler, values, mix(0, values), {});
    }

    Ending onError(const Handler &handler, const Ending &source)
    {
        if (!source.isRejected() || !isCaught(handler.filter, source.error.kind))
            return source;
        const int argument =
            handler.filter == Filter::All ? int(source.error.kind) * 1000 + source.error.code : source.error.code;
        return called(handler, {argument}, mix(0, {argument}), source.error);
    }

    /// The source's ending, which the handler's own replaces only by failing.
    static Ending kept(const Ending &source, const Ending &handlers) { return isFulfilled(handlers) ? source : handlers; }

    /// Every element has its call.
    std::vector<Ending> forEach(const std::vector<int> &values)
    {
        std::vector<Ending> endings;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const Handler &handler = m_node.handlers[i % m_node.handlers.size()];
            std::vector<int> arguments{values[i]};
            if (!handler.takesNothing) // here: no index
                arguments.push_back(int(i));
            const Type type = m_node.type;
            m_node.type = Type::Number; // what the function gives for an element
            endings.push_back(called(handler, arguments, mix(0, arguments), {}));
            m_node.type = type;
        }
        return endings;
    }

    static Ending gathered(const std::vector<Ending> &endings)
    {
        std::vector<int> values;
        bool isPending = false;
        for (const Ending &ending : endings) {
            if (ending.isRejected())
                return ending;
            isPending = isPending || ending.isPending();
            values.insert(values.end(), ending.values.begin(), ending.values.end());
        }
        return isPending ? Ending() : fulfilled(values);
    }

    Ending fan(const Ending &source)
    {
        const std::vector<int> values = source.isRejected() ? std::vector<int>{source.error.code} : source.values;
        std::vector<int> results;
        for (const Handler &handler : m_node.handlers) {
            m_node.calls.push_back({handler.id, mix(0, values)});
            results.push_back(mix(handler.constant, values));
        }
        return fulfilled(results);
    }

    Node &m_node;
};

class Generator
{
public:
    explicit Generator(std::uint64_t seed) : m_state(seed) {}

    NodePtr expression(Type type, int depth)
    {
        Node node;
        node.type = type;
        if (depth <= 0 || m_size >= mostNodes || below(7) == 0)
            source(node, depth);
        else
            operation(node, depth);
        ++m_size;
        Evaluation(node).evaluate();
        return std::make_shared<const Node>(std::move(node));
    }

    Type type()
    {
        return std::array<Type, 5>{Type::Number, Type::Number, Type::Number, Type::Nothing, Type::List}[below(5)];
    }

    unsigned below(unsigned limit)
    {
        m_state += 0x9e3779b97f4a7c15ULL;
        std::uint64_t z = m_state;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return unsigned((z ^ (z >> 31)) >> 32) % limit;
    }

private:
    using Kind = Node::Kind;
    static constexpr int mostNodes = 24;

    Error error() { return {ErrorKind(below(4)), int(below(1000))}; }

    void source(Node &node, int depth)
    {
        node.constant = int(below(1000));
        node.error = error();
        switch (below(depth > 0 ? 12 : 8)) {
        case 0:
        case 1:
            node.kind = Kind::Resolved;
            break;
        case 2:
            node.kind = Kind::Rejected;
            break;
        case 3:
            if (below(4) == 0) {
                node.kind = Kind::Never;
                break;
            }
            [[fallthrough]];
        case 4:
        case 5:
        case 6:
        case 7:
            steps(node, depth);
            break;
        case 8:
            node.kind = Kind::Attempt;
            node.handlers.push_back(handler(node.type, depth, false));
            node.handlers.back().takesNothing = true;
            break;
        default:
            if (node.type == Type::Number)
                return source(node, 0);
            if (node.type == Type::List && below(2) == 0) {
                node.kind = below(2) == 0 ? Kind::MapNow : Kind::EachNow;
                for (unsigned count = below(5); count > 0; --count)
                    node.sequence.push_back(int(below(1000)));
                elements(node, depth);
                return;
            }
            node.kind = Kind::All;
            all(node, depth);
        }
    }

    void steps(Node &node, int depth)
    {
        node.kind = Kind::Settled;
        node.place = Node::Place(below(4));
        for (unsigned count = 1 + below(3); count > 0; --count) {
            Step step;
            step.what = Step::What(below(4));
            step.constant = int(below(1000));
            step.error = error();
            if (step.what == Step::What::Promise) {
                step.child = int(node.children.size());
                node.children.push_back(expression(node.type == Type::Nothing ? type() : node.type, depth - 2));
            }
            node.steps.push_back(step);
        }
        if (node.place == Node::Place::Inside && below(3) == 0) {
            node.steps.emplace_back();
            node.steps.back().what = Step::What::Throw;
            node.steps.back().error = error();
        }
    }

    void all(Node &node, int depth)
    {
        const Ending *failed = nullptr;
        for (unsigned count = below(4); count > 0; --count) {
            NodePtr child = expression(node.type == Type::List ? Type::Number : Type::Nothing, depth - 2);
            // Which of several errors comes first is not defined.
            while (failed && child->ending.isRejected() && !(child->ending == *failed))
                child = expression(child->type, 0);
            node.children.push_back(child);
            if (child->ending.isRejected())
                failed = &node.children.back()->ending;
        }
    }

    /// Functions for the elements of a sequence.
    void elements(Node &node, int depth)
    {
        bool isAsynchronous = false;
        int failures = 0;
        for (unsigned count = 1 + below(3); count > 0; --count) {
            Handler element = handler(Type::Number, depth, false);
            if (element.child && element.child->ending.isRejected()) {
                isAsynchronous = true;
                ++failures;
            }
            failures += element.what == Handler::What::Throw;
            if (isAsynchronous && failures > 1) { // which error comes first is not defined
                element.what = Handler::What::Value;
                element.child.reset();
            }
            node.handlers.push_back(element);
        }
    }

    /// `mayWait`: not where it is called by the code that makes the promises of the expression.
    Handler handler(Type result, int depth, bool mayWait, bool hasError = false)
    {
        Handler made;
        made.id = m_handlers++;
        made.takesNothing = below(4) == 0;
        made.constant = int(below(1000));
        made.error = error();
        switch (below(8)) {
        case 0:
            made.what = Handler::What::Throw;
            break;
        case 1:
            made.what = hasError ? Handler::What::Rethrow : Handler::What::Value;
            break;
        case 2:
        case 3:
        case 4:
            if (depth > 0) {
                made.child = expression(result, depth - 2);
                made.what = mayWait && !made.child->ending.isPending() && below(3) == 0 ? Handler::What::Wait
                                                                                        : Handler::What::Promise;
            }
            break;
        default:
            break;
        }
        return made;
    }

    Type watched() { return below(2) == 0 ? Type::Number : Type::Nothing; }

    void operation(Node &node, int depth)
    {
        const unsigned choice = below(node.type == Type::List ? 16 : 13);
        switch (choice) {
        case 0:
        case 1:
        case 2:
            node.kind = Kind::Then;
            node.children.push_back(expression(type(), depth - 1));
            node.handlers.push_back(handler(node.type, depth, true));
            break;
        case 3:
            node.kind = Kind::ThenOr;
            node.children.push_back(expression(type(), depth - 1));
            node.handlers.push_back(handler(node.type, 0, true));
            node.handlers.push_back(handler(node.type, depth, true, true));
            node.handlers.back().filter = below(2) == 0 ? Filter::All : Filter::Base;
            break;
        case 4:
        case 5:
            node.kind = Kind::Fail;
            node.children.push_back(expression(node.type, depth - 1));
            node.handlers.push_back(handler(node.type, depth, true, true));
            node.handlers.back().filter = Filter(below(7));
            break;
        case 6:
            node.kind = Kind::Finally;
            node.children.push_back(expression(node.type, depth - 1));
            node.handlers.push_back(handler(watched(), depth, true));
            node.handlers.back().takesNothing = true;
            break;
        case 7:
            node.kind = Kind::Tap;
            node.children.push_back(expression(node.type, depth - 1));
            node.handlers.push_back(handler(watched(), depth, true));
            break;
        case 8:
            node.kind = Kind::TapFail;
            node.children.push_back(expression(node.type, depth - 1));
            node.handlers.push_back(handler(watched(), depth, true, true));
            node.handlers.back().filter = Filter(below(7));
            break;
        case 9:
            node.kind = Kind::Delay;
            node.constant = int(below(3));
            node.children.push_back(expression(node.type, depth - 1));
            break;
        case 10:
            node.kind = Kind::Timeout;
            node.children.push_back(expression(node.type, depth - 1));
            node.constant = node.children.front()->ending.isPending() ? shortTime : longTime;
            break;
        case 11:
            handOver(node, depth);
            break;
        case 12:
            if (node.type != Type::Nothing)
                return operation(node, depth);
            node.kind = Kind::Convert;
            node.children.push_back(expression(type(), depth - 1));
            break;
        case 13:
        case 14:
            node.kind = choice == 13 ? Kind::Map : Kind::Each;
            node.children.push_back(expression(Type::List, depth - 1));
            elements(node, depth);
            break;
        default:
            node.kind = Kind::Fan;
            node.children.push_back(expression(type(), depth - 1));
            for (unsigned count = 1 + below(4); count > 0; --count) {
                Handler made;
                made.id = m_handlers++;
                made.constant = int(below(1000));
                node.handlers.push_back(made);
            }
        }
    }

    void handOver(Node &node, int depth)
    {
        Node inner;
        inner.type = node.type;
        do {
            inner = Node();
            inner.type = node.type;
            operation(inner, depth);
        } while (inner.kind == Kind::HandOver);
        Evaluation(inner).evaluate();
        node.kind = Kind::HandOver;
        node.children.push_back(std::make_shared<const Node>(std::move(inner)));
    }

    std::uint64_t m_state;
    int m_handlers = 0;
    int m_size = 0;
};

std::string textOf(const Error &error)
{
    static const std::array<const char *, 5> names{"Base", "Derived", "Standard", "Int", "Timeout"};
    return std::string(names[std::size_t(error.kind)]) + ' ' + std::to_string(error.code);
}

std::string textOf(const Handler &handler)
{
    static const std::array<const char *, 5> names{"value", "throw", "rethrow", "promise", "wait"};
    static const std::array<const char *, 7> filters{"",          "Base ", "Base by value ", "Derived ",
                                                     "Standard ", "Int ",  "Timeout "};
    std::string text = '#' + std::to_string(handler.id) + ' ' + filters[std::size_t(handler.filter)]
                       + (handler.takesNothing ? "() " : "") + names[std::size_t(handler.what)] + ' '
                       + (handler.what == Handler::What::Throw ? textOf(handler.error) : std::to_string(handler.constant));
    if (handler.child)
        text += ' ' + textOf(*handler.child);
    return '{' + text + '}';
}

} // namespace

bool operator==(const Ending &a, const Ending &b)
{
    if (a.status != b.status)
        return false;
    if (a.isRejected())
        return a.error.kind == b.error.kind && a.error.code == b.error.code;
    return a.values == b.values;
}

std::string textOf(const Ending &ending)
{
    if (ending.isPending())
        return "pending";
    if (ending.isRejected())
        return "rejected with " + textOf(ending.error);
    std::string text = "fulfilled with";
    for (const int value : ending.values)
        text += ' ' + std::to_string(value);
    return text;
}

std::string textOf(const Node &node)
{
    static const std::array<const char *, 21> names{
        "resolved", "rejected", "settled", "never", "attempt", "all", "mapNow", "eachNow", "then",    "thenOr",  "fail",
        "finally",  "tap",      "tapFail", "delay", "timeout", "map", "each",   "fan",     "convert", "handOver"};
    static const std::array<const char *, 5> steps{"value", "error", "error pointer", "promise", "throw"};
    std::string text = std::string("(") + names[std::size_t(node.kind)] + ' ' + std::to_string(node.constant);
    for (const int value : node.sequence)
        text += ',' + std::to_string(value);
    static const std::array<const char *, 4> places{"inside", "posted", "timer", "other thread"};
    if (node.kind == Node::Kind::Settled)
        text += std::string(" ") + places[std::size_t(node.place)];
    for (const Step &step : node.steps)
        text += std::string(" <") + steps[std::size_t(step.what)] + '>';
    for (const NodePtr &child : node.children)
        text += ' ' + textOf(*child);
    for (const Handler &handler : node.handlers)
        text += ' ' + textOf(handler);
    return text + ')';
}

int mix(int constant, const std::vector<int> &values)
{
    std::uint32_t sum = std::uint32_t(constant) + 17;
    for (const int value : values)
        sum = sum * 31 + std::uint32_t(value);
    return int(sum & 0xfffffff);
}

std::vector<int> valuesOf(Type type, int number)
{
    switch (type) {
    case Type::Number:
        return {number};
    case Type::Nothing:
        return {};
    case Type::List:
        break;
    }
    std::vector<int> list;
    for (int i = 0; i < number % 4; ++i)
        list.push_back(number + i);
    return list;
}

NodePtr randomExpression(std::uint64_t seed)
{
    Generator generator(seed);
    const Type type = generator.type();
    return generator.expression(type, 3 + int(generator.below(4)));
}

} // namespace Trust
