/// @file
/// What a double is made of. Each file of this folder that bears a service's name is its double:
///
///     DOUBLE(3, DDS_WaitSet_mask_condition, .failure = DDS_RETCODE_ERROR, .shown = {1, 2});
///
/// defines __wrap_DDS_WaitSet_mask_condition, which has the types of the service's declaration and three parameters,
/// fails with DDS_RETCODE_ERROR unless the test chooses, and is noted with its second and third argument.
///
/// Protection: a double is constant but for the list that it is in, which is complete before main begins.
#ifndef DOUBLE_HPP
#define DOUBLE_HPP

#include <initializer_list>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "Doubles.hpp"

namespace doubled {

/// One call, as rules see it.
class Call {
public:
    virtual bool has(const Value &value) const = 0;
    virtual bool satisfies(const std::any &predicate) const = 0;
    /// Returns: the name and what tells the call apart.
    virtual std::string text() const = 0;
    virtual std::string textBy(const std::any &text) const = 0;

protected:
    ~Call() = default;
};

/// What is to happen at one call.
struct Verdict {
    std::vector<std::any> before;
    std::vector<std::any> after;
    std::optional<std::any> instead;
    std::optional<std::any> failure;  ///< An empty value is the usual failure.
};

/// A replaced service without its types.
class Service {
public:
    constexpr explicit Service(const char *name) : _name(name) {}
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;

    const char *name() const { return _name; }
    /// Put the service where `on` looks for it.
    void enlist();
    static Service *find(const std::string &name);

    /// Bring a function or a value to the form in which a call uses it.
    /// Returns: what is wrong with it, or nothing.
    virtual std::string accept(Kind kind, std::any &what) const = 0;
    virtual std::string acceptPredicate(std::any &predicate) const = 0;
    virtual std::string acceptText(std::any &text) const = 0;
    /// A pointer to the service itself.
    virtual std::any real() const = 0;

protected:
    constexpr ~Service() = default;

    /// Whether somebody may be interested in the calling thread's call.
    static bool isWatched();
    /// Note a call. Returns: what is to happen.
    Verdict arrive(const Call &call);

    std::string mismatch(const std::type_info &expected, const std::any &given) const;

private:
    const char *_name;
    Service *_next = nullptr;
};

// ---------------------------------------------------------------- arguments as text

std::string written(const char *text);
/// Returns: "infinite", or "{1 500}" for one second and 500 nanoseconds.
std::string written(const DDS_Duration_t *duration);

template <class Argument>
std::string textOf(const Argument &argument)
{
    using Type = std::remove_cv_t<Argument>;
    if constexpr (std::is_same_v<Type, char *> || std::is_same_v<Type, const char *>)
        return written(static_cast<const char *>(argument));
    else if constexpr (std::is_same_v<Type, const DDS_Duration_t *>)
        return written(argument);
    else if constexpr (std::is_same_v<Type, DDS_ReturnCode_t>)
        return nameOf(argument);
    else if constexpr (std::is_pointer_v<Type> && std::is_function_v<std::remove_pointer_t<Type>>)
        return argument == nullptr ? "null" : "a function";
    else if constexpr (std::is_pointer_v<Type>)
        return nameOf(argument, kindOf<std::remove_cv_t<std::remove_pointer_t<Type>>>);
    else if constexpr (std::is_enum_v<Type> || std::is_integral_v<Type>)
        return std::to_string(static_cast<std::int64_t>(argument));
    else
        return nameOf(&argument, kindOf<Type>);
}

template <class Argument>
bool hasValue(const Argument &argument, const Value &value)
{
    if constexpr (std::is_same_v<Argument, char *> || std::is_same_v<Argument, const char *>) {
        const auto *const text = std::get_if<std::string>(&value);
        if (text != nullptr) return argument != nullptr && *text == argument;
    }
    if constexpr (std::is_pointer_v<Argument> && !std::is_function_v<std::remove_pointer_t<Argument>>) {
        const auto *const pointer = std::get_if<const void *>(&value);
        return pointer != nullptr && *pointer == argument;
    } else if constexpr (std::is_enum_v<Argument> || std::is_integral_v<Argument>) {
        const auto *const number = std::get_if<std::int64_t>(&value);
        return number != nullptr && *number == static_cast<std::int64_t>(argument);
    } else if constexpr (!std::is_pointer_v<Argument>) {
        const auto *const pointer = std::get_if<const void *>(&value);
        return pointer != nullptr && *pointer == &argument;
    }
    return false;
}

// ---------------------------------------------------------------- the double of a service

/// Positions of arguments, from 0.
struct Shown {
    int count = 0;
    int positions[9] = {};

    constexpr Shown() = default;
    constexpr Shown(std::initializer_list<int> list)
    {
        for (const int position : list) positions[count++] = position;
    }
    constexpr bool has(int position) const
    {
        for (int i = 0; i < count; ++i)
            if (positions[i] == position) return true;
        return false;
    }
};

/// Whether a call that fails does what it should and only says that it did not.
enum class FailsAfter { nothing, doingIt };

/// The result, or something in the place of none.
template <class Result>
using Given = std::conditional_t<std::is_void_v<Result>, std::monostate, Result>;

template <class Signature>
struct Options;
template <class Result, class... Arguments>
struct Options<Result(Arguments...)> {
    std::optional<Given<Result>> failure{};  ///< The usual one. A service without cannot fail, except by `instead`.
    FailsAfter failsAfter = FailsAfter::nothing;
    Shown shown{};                                   ///< Arguments that tell calls apart.
    std::string (*showing)(Arguments...) = nullptr;  ///< They are more than that.
};

template <class Signature>
class Double;

template <class Result, class... Arguments>
class Double<Result(Arguments...)> : public Service {
public:
    using Real = Result (*)(Arguments...);

    constexpr Double(const char *name, Real theReal, const Options<Result(Arguments...)> &options = {})
        : Service(name), _real(theReal), _options(options)
    {
    }
    ~Double() = default;

    Result operator()(Arguments... arguments) { return callOr(_real, static_cast<Arguments>(arguments)...); }

    /// The call, with something else to be called for the service itself.
    template <class Instead>
    Result callOr(const Instead &callee, Arguments... arguments)
    {
        if (!isWatched()) return callee(static_cast<Arguments>(arguments)...);
        const Verdict verdict = arrive(TypedCall(*this, arguments...));
        for (const std::any &action : verdict.before) run<void>(action, arguments...);
        if constexpr (std::is_void_v<Result>) {
            if (verdict.instead)
                run<void>(*verdict.instead, arguments...);
            else if (!verdict.failure)
                callee(static_cast<Arguments>(arguments)...);
            for (const std::any &action : verdict.after) run<void>(action, arguments...);
        } else {
            Result result = decide(verdict, callee, arguments...);
            for (const std::any &action : verdict.after) run<void>(action, arguments...);
            return result;
        }
    }

    std::string accept(Kind kind, std::any &what) const override
    {
        switch (kind) {
            case Kind::before:
            case Kind::after:
                return acceptFunction<void>(what);
            case Kind::instead:
                return acceptFunction<Result>(what);
            case Kind::fail:
                return acceptFailure(what);
        }
        return {};
    }
    std::string acceptPredicate(std::any &predicate) const override { return acceptFunction<bool>(predicate); }
    std::string acceptText(std::any &text) const override { return acceptFunction<std::string>(text); }
    std::any real() const override { return _real; }

private:
    class TypedCall final : public Call {
    public:
        TypedCall(const Double &service, Arguments &...arguments) : _service(service), _arguments(arguments...) {}

        bool has(const Value &value) const override
        {
            return std::apply([&](const auto &...each) { return (hasValue(each, value) || ...); }, _arguments);
        }
        bool satisfies(const std::any &predicate) const override { return by<bool>(predicate); }
        std::string textBy(const std::any &text) const override { return by<std::string>(text); }
        std::string text() const override
        {
            std::string inside;
            if (_service._options.showing != nullptr) {
                inside = std::apply(
                    [&](auto &...each) { return _service._options.showing(static_cast<Arguments>(each)...); },
                    _arguments);
            } else {
                int position = 0;
                const auto add = [&](const auto &argument) {
                    if (!_service._options.shown.has(position++)) return;
                    inside += (inside.empty() ? "" : ", ") + textOf(argument);
                };
                std::apply([&](const auto &...each) { (add(each), ...); }, _arguments);
            }
            return inside.empty() ? std::string(_service.name()) : _service.name() + ("(" + inside + ")");
        }

    private:
        template <class Answer>
        Answer by(const std::any &function) const
        {
            return std::apply([&](auto &...each) { return run<Answer>(function, each...); }, _arguments);
        }
        const Double &_service;
        std::tuple<Arguments &...> _arguments;
    };

    template <class Answer>
    static Answer run(const std::any &function, Arguments &...arguments)
    {
        return std::any_cast<const std::function<Answer(Arguments...)> &>(function)(
            static_cast<Arguments>(arguments)...);
    }

    template <class Instead>
    Result decide(const Verdict &verdict, const Instead &callee, Arguments &...arguments) const
    {
        if (verdict.instead) return run<Result>(*verdict.instead, arguments...);
        if (!verdict.failure) return callee(static_cast<Arguments>(arguments)...);
        if (_options.failsAfter == FailsAfter::doingIt) static_cast<void>(callee(static_cast<Arguments>(arguments)...));
        return verdict.failure->has_value() ? std::any_cast<Result>(*verdict.failure) : *_options.failure;
    }

    template <class Answer>
    std::string acceptFunction(std::any &what) const
    {
        using Full = std::function<Answer(Arguments...)>;
        if (what.type() == typeid(Full)) return {};
        if (const auto *const plain = std::any_cast<std::function<Answer()>>(&what)) {
            what = Full([action = *plain](Arguments...) { return action(); });
            return {};
        }
        return mismatch(typeid(Answer(Arguments...)), what);
    }

    std::string acceptFailure(std::any &value) const
    {
        if constexpr (std::is_void_v<Result>) {
            return std::string(name()) + " returns nothing, so it cannot fail";
        } else {
            if (!value.has_value())
                return _options.failure ? "" : std::string(name()) + " has no usual failure: choose one";
            if (value.type() == typeid(Result)) return {};
            if constexpr (std::is_pointer_v<Result>)
                if (value.type() == typeid(nullptr)) {
                    value = Result{nullptr};
                    return {};
                }
            if constexpr (std::is_integral_v<Result>)
                if (const int *const number = std::any_cast<int>(&value); number && std::in_range<Result>(*number)) {
                    value = static_cast<Result>(*number);
                    return {};
                }
            return mismatch(typeid(Result), value);
        }
    }

    Real _real;
    Options<Result(Arguments...)> _options;
};

/// The double of a function that no linker replaces, such as one that a test hands to the library itself: what stands
/// in for it calls `callOr`.
template <class Signature>
class LocalDouble : public Double<Signature> {
public:
    explicit LocalDouble(const char *name, const Options<Signature> &options = {})
        : Double<Signature>(name, nullptr, options)
    {
        this->enlist();
    }
};

struct Enlisting {
    explicit Enlisting(Service &service) { service.enlist(); }
};

// ---------------------------------------------------------------- types of a declared function

template <class Function>
struct FunctionTypes;
template <class Return, class... Arguments>
struct FunctionTypes<Return(Arguments...)> {
    using Signature = Return(Arguments...);
    using Result = Return;
    template <std::size_t position>
    using Argument = std::tuple_element_t<position, std::tuple<Arguments...>>;
    static constexpr std::size_t count = sizeof...(Arguments);
};
template <class Return, class... Arguments>
struct FunctionTypes<Return(Arguments...) noexcept> : FunctionTypes<Return(Arguments...)> {
};

}  // namespace doubled

// ---------------------------------------------------------------- the macro

#define DOUBLE_PARAMETER_(name_, position_) doubled::FunctionTypes<decltype(name_)>::Argument<position_> a##position_
#define DOUBLE_PARAMETERS_0_(n_)
#define DOUBLE_PARAMETERS_1_(n_) DOUBLE_PARAMETER_(n_, 0)
#define DOUBLE_PARAMETERS_2_(n_) DOUBLE_PARAMETERS_1_(n_), DOUBLE_PARAMETER_(n_, 1)
#define DOUBLE_PARAMETERS_3_(n_) DOUBLE_PARAMETERS_2_(n_), DOUBLE_PARAMETER_(n_, 2)
#define DOUBLE_PARAMETERS_4_(n_) DOUBLE_PARAMETERS_3_(n_), DOUBLE_PARAMETER_(n_, 3)
#define DOUBLE_PARAMETERS_5_(n_) DOUBLE_PARAMETERS_4_(n_), DOUBLE_PARAMETER_(n_, 4)
#define DOUBLE_PARAMETERS_6_(n_) DOUBLE_PARAMETERS_5_(n_), DOUBLE_PARAMETER_(n_, 5)
#define DOUBLE_PARAMETERS_7_(n_) DOUBLE_PARAMETERS_6_(n_), DOUBLE_PARAMETER_(n_, 6)
#define DOUBLE_PARAMETERS_8_(n_) DOUBLE_PARAMETERS_7_(n_), DOUBLE_PARAMETER_(n_, 7)
#define DOUBLE_PARAMETERS_9_(n_) DOUBLE_PARAMETERS_8_(n_), DOUBLE_PARAMETER_(n_, 8)
#define DOUBLE_ARGUMENTS_0_
#define DOUBLE_ARGUMENTS_1_ a0
#define DOUBLE_ARGUMENTS_2_ DOUBLE_ARGUMENTS_1_, a1
#define DOUBLE_ARGUMENTS_3_ DOUBLE_ARGUMENTS_2_, a2
#define DOUBLE_ARGUMENTS_4_ DOUBLE_ARGUMENTS_3_, a3
#define DOUBLE_ARGUMENTS_5_ DOUBLE_ARGUMENTS_4_, a4
#define DOUBLE_ARGUMENTS_6_ DOUBLE_ARGUMENTS_5_, a5
#define DOUBLE_ARGUMENTS_7_ DOUBLE_ARGUMENTS_6_, a6
#define DOUBLE_ARGUMENTS_8_ DOUBLE_ARGUMENTS_7_, a7
#define DOUBLE_ARGUMENTS_9_ DOUBLE_ARGUMENTS_8_, a8

/// The double of the service with so many parameters; what follows are its `Options`. The names with two underscores
/// are those that the linker looks for.
#define DOUBLE(count_, name_, ...)                                                                                    \
    extern "C" {                                                                                                      \
    doubled::FunctionTypes<decltype(name_)>::Signature __real_##name_;                                                \
    doubled::FunctionTypes<decltype(name_)>::Signature __wrap_##name_;                                                \
    }                                                                                                                 \
    namespace {                                                                                                       \
    using Signature = doubled::FunctionTypes<decltype(name_)>::Signature;                                             \
    constinit doubled::Double<Signature> theDouble{#name_, __real_##name_, doubled::Options<Signature>{__VA_ARGS__}}; \
    const doubled::Enlisting enlisting(theDouble);                                                                    \
    }                                                                                                                 \
    doubled::FunctionTypes<decltype(name_)>::Result __wrap_##name_(DOUBLE_PARAMETERS_##count_##_(name_))              \
    {                                                                                                                 \
        return theDouble(DOUBLE_ARGUMENTS_##count_##_);                                                               \
    }                                                                                                                 \
    static_assert(doubled::FunctionTypes<decltype(name_)>::count == count_, "so many parameters it has not")

#endif
