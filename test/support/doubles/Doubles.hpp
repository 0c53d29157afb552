/// @file
/// Test doubles of the library's services: what was called, in which order, what of it fails, and what happens before,
/// after or instead of a call.
///
/// A test program says at its top, or in the top of a fixture's header, which services it replaces:
///
///     // Replaces: DDS_WaitSet_attach_condition ZYLOsapiHeap_reallocateMemoryInternal
///
/// and is then linked with their doubles, a file each in this folder. A double calls the real service and nothing else
/// until a test makes a `Doubles`, usually as a member of its fixture:
///
///     doubles.on("DDS_WaitSet_attach_condition").fail(1);                       // the next call, once
///     doubles.on("DDS_WaitSet_attach_condition").fail(2, DDS_RETCODE_TIMEOUT);  // the one after it, with this code
///     doubles.on("DDS_WaitSet_mask_condition").with(condition).failFrom(1);     // of this condition, every one
///     doubles.on("DDS_Condition_dispatch").before([&](DDS_Condition *c) {});    // or without parameters
///     EXPECT_THAT(doubles.calls(), ElementsAre("DDS_WaitSet_mask_condition(A, 0)"));
///
/// Threads: only calls on the thread that made the `Doubles` are noted, fail or are acted on, so that a fault on the
/// test's own thread costs no pool thread; with `onEveryThread` calls on all threads. In the simulation all threads are
/// one. A newer `Doubles` on the same thread hides an older one while it lives.
///
/// Protection: thread-safe. Actions run outside the kit's own mutex, with the services doubled as everywhere; the
/// functions given to `when` and `as` run inside it and only look. No other thread may be in a service that is watched
/// on every thread when the `Doubles` goes.
#ifndef DOUBLES_HPP
#define DOUBLES_HPP

#include <any>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <variant>
#include <vector>

#include "Names.hpp"
#include "TestLine.hpp"

class Doubles;

namespace doubled {

class Service;
struct Rule;

/// A value that one of a call's arguments may have.
using Value = std::variant<const void *, std::string, std::int64_t>;

template <class Argument>
Value valueOf(const Argument &argument)
{
    if constexpr (std::is_null_pointer_v<Argument>)
        return static_cast<const void *>(nullptr);
    else if constexpr (std::is_convertible_v<const Argument &, std::string>)
        return std::string(argument);
    else if constexpr (std::is_convertible_v<const Argument &, const void *>)
        return static_cast<const void *>(argument);
    else
        return static_cast<std::int64_t>(argument);
}

/// The function with its result turned into `Result`.
template <class Result, class Any, class... Arguments>
std::any withResult(std::function<Any(Arguments...)> function)
{
    return std::function<Result(Arguments...)>(std::move(function));
}

/// What a step of a rule does.
enum class Kind { before, after, instead, fail };

}  // namespace doubled

/// A rule about calls of one service. `on` makes a new one each time; it lasts until the `Doubles` goes. What is
/// planned counts the calls that the rule speaks of from the moment on at which it is planned; if several plans meet at
/// one call, all actions run and the latest of `fail` and `instead` decides.
class DoubledService {
public:
    // ------------------------------------------------------------ of which calls it speaks

    /// Of those only that have each of these values (pointers, texts, numbers) among their arguments.
    template <class... Values>
    DoubledService &with(const Values &...values)
    {
        (addValue(doubled::valueOf(values)), ...);
        return *this;
    }
    /// Of those only for which the function, which takes the service's arguments, returns true.
    template <class Predicate>
    DoubledService &when(Predicate predicate)
    {
        setPredicate(doubled::withResult<bool>(std::function{std::move(predicate)}));
        return *this;
    }
    /// Of calls on every thread, which are then noted as well.
    DoubledService &onEveryThread();

    // ------------------------------------------------------------ how they are noted

    /// As this text instead of the service's name and arguments.
    DoubledService &as(const char *text) { return as(std::string(text)); }
    DoubledService &as(const std::string &text);
    /// As the text that the function makes of the arguments.
    template <class Text>
    DoubledService &as(Text text)
    {
        setText(doubled::withResult<std::string>(std::function{std::move(text)}));
        return *this;
    }
    /// Not at all.
    DoubledService &unnoted();

    // ------------------------------------------------------------ what happens

    /// The nth call from now on fails, once, with the service's usual failure.
    DoubledService &fail(int nth = 1);
    /// The nth call from now on and all later ones fail.
    DoubledService &failFrom(int nth);
    /// With this value. It is of the type that the service returns; a plain int will do for a number, nullptr for a
    /// pointer.
    template <class Value>
    DoubledService &fail(int nth, Value value)
    {
        return plan(doubled::Kind::fail, nth, false, std::move(value));
    }
    template <class Value>
    DoubledService &failFrom(int nth, Value value)
    {
        return plan(doubled::Kind::fail, nth, true, std::move(value));
    }

    /// The action runs before each call, or before the nth from now on. It takes the arguments of the service, or
    /// nothing.
    template <class Action>
    DoubledService &before(Action action)
    {
        return plan(doubled::Kind::before, 1, true, actionOf(std::move(action)));
    }
    template <class Action>
    DoubledService &before(int nth, Action action)
    {
        return plan(doubled::Kind::before, nth, false, actionOf(std::move(action)));
    }
    /// The same after a call.
    template <class Action>
    DoubledService &after(Action action)
    {
        return plan(doubled::Kind::after, 1, true, actionOf(std::move(action)));
    }
    template <class Action>
    DoubledService &after(int nth, Action action)
    {
        return plan(doubled::Kind::after, nth, false, actionOf(std::move(action)));
    }
    /// The same in the place of the service. The action returns what the service returns, in exactly this type.
    template <class Action>
    DoubledService &instead(Action action)
    {
        return plan(doubled::Kind::instead, 1, true, std::function{std::move(action)});
    }
    template <class Action>
    DoubledService &instead(int nth, Action action)
    {
        return plan(doubled::Kind::instead, nth, false, std::function{std::move(action)});
    }

    /// Healing does not touch what this rule plans: for a fixture that needs it whatever a test does.
    DoubledService &forGood();
    /// Nothing that was planned for calls of the service, by this rule or another, happens any more. How they are noted
    /// stays.
    DoubledService &heal();

private:
    friend class Doubles;
    DoubledService(Doubles &owner, doubled::Service *service, std::shared_ptr<doubled::Rule> rule, TestLine line)
        : _owner(&owner), _service(service), _rule(std::move(rule)), _line(line)
    {
    }

    template <class Action>
    static std::any actionOf(Action action)
    {
        return doubled::withResult<void>(std::function{std::move(action)});
    }
    void addValue(doubled::Value value);
    void setPredicate(std::any predicate);
    void setText(std::any text);
    DoubledService &plan(doubled::Kind kind, int nth, bool lasts, std::any what);
    void complain(const std::string &text) const;

    Doubles *_owner;
    doubled::Service *_service;  ///< Null when the program does not replace it.
    std::shared_ptr<doubled::Rule> _rule;
    TestLine _line;
};

/// The doubles' master while it lives.
class Doubles {
public:
    Doubles();
    ~Doubles();
    Doubles(const Doubles &) = delete;
    Doubles &operator=(const Doubles &) = delete;

    /// A new rule about calls of the service. A service that this program does not replace fails the test.
    DoubledService on(const std::string &service, TestLine line = TestLine::here());

    /// The calls since the start or the last `clear`, in order: "NAME", or with arguments that tell calls apart,
    /// "NAME(A, 0)".
    std::vector<std::string> calls() const;
    /// Those of them that are of one of these services, or read exactly so.
    std::vector<std::string> callsOf(std::initializer_list<std::string> calls, TestLine line = TestLine::here()) const;
    /// How many of them are of this service, or read exactly so. A service's name that this program does not replace
    /// fails the test: none would be noted.
    int count(const std::string &call, TestLine line = TestLine::here()) const;
    /// How many calls have failed by a plan, `clear` or not.
    int failedCount() const;

    /// Forget the calls so far.
    void clear();
    /// Nothing that was planned happens any more. How calls are noted stays.
    void heal();

    /// Give the object a name for as long as this lives. Returns: the object.
    template <class Object>
    Object *name(Object *object, const std::string &name)
    {
        setName(object, name);
        return object;
    }

    /// The service itself: `Doubles::real<decltype(DDS_WaitSet_delete)>("DDS_WaitSet_delete")(waitSet)`.
    template <class Signature>
    static Signature *real(const std::string &service)
    {
        const std::any found = realOf(service);
        auto *const *const function = std::any_cast<Signature *>(&found);
        if (function == nullptr) throw std::logic_error(service + " is not replaced here, or is of another type");
        return *function;
    }

private:
    friend class DoubledService;
    friend class doubled::Service;
    struct Call {
        std::string service;
        std::string text;
        bool is(const std::string &call) const { return call == service || call == text; }
    };

    void setName(const void *object, const std::string &name);
    static std::any realOf(const std::string &service);

    // Guarded by the mutex of the kit.
    std::map<doubled::Service *, std::vector<std::shared_ptr<doubled::Rule>>> _rules;
    std::vector<Call> _calls;
    int _failedCount = 0;
    std::uint64_t _lastStep = 0;

    std::set<const void *> _named;  ///< For the thread that made it.
    Doubles *_former;
};

#endif
