#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Random expressions of promises, and what they come to, computed with plain values. Nothing here uses the promise header.
namespace Trust {

enum class Type { Number, Nothing, List };

enum class ErrorKind { Base, Derived, Standard, Int, Timeout };

struct Error {
    ErrorKind kind = ErrorKind::Base;
    int code = 0;
};

/// What a promise comes to. A number is one value, a list any count, nothing none.
struct Ending {
    enum class Status { Pending, Fulfilled, Rejected };
    Status status = Status::Pending;
    std::vector<int> values;
    Error error;

    bool isPending() const { return status == Status::Pending; }
    bool isRejected() const { return status == Status::Rejected; }
};
bool operator==(const Ending &a, const Ending &b);
std::string textOf(const Ending &ending);

/// The call of one handler, and a digest of what it was given.
struct Call {
    int handler;
    int argument;
};

struct Node;
using NodePtr = std::shared_ptr<const Node>;

/// Which errors a handler of rejections names.
enum class Filter { All, Base, BaseByValue, Derived, Standard, Int, Timeout };

/// A handler, and what it does when it is called.
struct Handler {
    enum class What { Value, Throw, Rethrow, Promise, Wait };
    int id = 0;
    What what = What::Value;
    bool takesNothing = false;
    Filter filter = Filter::All;
    int constant = 0;
    Error error;   ///< for Throw
    NodePtr child; ///< for Promise, which it returns, and Wait, which it waits for
};

/// One call of the functors of a promise.
struct Step {
    enum class What { Value, Error, ErrorPointer, Promise, Throw };
    What what = What::Value;
    int constant = 0;
    Error error;
    int child = 0; ///< of the node's children
};

/// An expression of type QPromise<type>.
struct Node {
    enum class Kind {
        // Sources
        Resolved,
        Rejected,
        Settled, ///< by steps
        Never,
        Attempt,
        All, ///< of its children
        MapNow,
        EachNow,
        // Operations on the promise that the first child is
        Then,
        ThenOr,
        Fail,
        Finally,
        Tap,
        TapFail,
        Delay,
        Timeout,
        Map,
        Each,
        Fan, ///< several handlers of one promise, gathered
        Convert,
        HandOver, ///< the operation that the first child is, done by another thread
    };
    /// Where the steps are done.
    enum class Place { Inside, Posted, Timer, OtherThread };

    Kind kind = Kind::Resolved;
    Type type = Type::Number;
    int constant = 0; ///< of the value; milliseconds
    Error error;
    Place place = Place::Inside;
    std::vector<int> sequence;
    std::vector<Step> steps;
    std::vector<NodePtr> children;
    std::vector<Handler> handlers;

    // What the model computes.
    Ending ending;
    std::vector<Call> calls; ///< in no order
    int promises = 1;        ///< that are made on the way
};

/// One random expression. The same seed gives the same one.
NodePtr randomExpression(std::uint64_t seed);

/// The expression in words, for a report.
std::string textOf(const Node &node);

// Shared with the code under test: they give values their meaning.
int mix(int constant, const std::vector<int> &values);
std::vector<int> valuesOf(Type type, int number);

} // namespace Trust
