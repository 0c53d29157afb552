/// @file
/// Who watches, what was noted, and which rules apply. See Doubles.hpp.
#include "Doubles.hpp"

#include <cxxabi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>

#include "Double.hpp"

namespace doubled {

/// Something planned.
struct Step {
    Kind kind;
    int remaining;  ///< Calls until it is due, that one included.
    bool lasts;
    std::any what;
    std::uint64_t number;  ///< In the order of planning.
};

struct Rule {
    std::vector<Value> values;
    std::any predicate;
    bool isForEveryThread = false;
    bool isForGood = false;
    enum class Noting { plain, text, function, none } noting = Noting::plain;
    std::string text;
    std::any textFunction;
    std::vector<Step> steps;

    void heal()
    {
        if (!isForGood) steps.clear();
    }
};

}  // namespace doubled

namespace {

using doubled::Kind;
using doubled::Rule;
using doubled::Step;

constexpr auto relaxed = std::memory_order_relaxed;

/// Guards all that a `Doubles` keeps, and the way from `everywhere` into it.
std::mutex kitMutex;

/// The list of replaced services; complete before main begins.
constinit doubled::Service *firstService = nullptr;

// What belongs to one thread is atomic here: simulated threads share it, and the thread sanitizer tells them apart.
/// The one whose thread this is.
constinit thread_local std::atomic<Doubles *> ownDoubles = nullptr;
/// The one that watches services on every thread.
constinit std::atomic<Doubles *> everywhere = nullptr;
/// Whether the thread is inside the kit: what the kit itself needs, memory above all, is never doubled.
constinit thread_local std::atomic<bool> isInside = false;

/// The mutex of the kit, and no doubling while it is held.
class Inside {
public:
    Inside() : _wasInside(isInside.load(relaxed))
    {
        isInside.store(true, relaxed);
        kitMutex.lock();
    }
    ~Inside()
    {
        kitMutex.unlock();
        isInside.store(_wasInside, relaxed);
    }
    Inside(const Inside &) = delete;
    Inside &operator=(const Inside &) = delete;

private:
    bool _wasInside;
};

std::string readable(const std::type_info &type)
{
    int status = 0;
    char *const text = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
    const std::string result = status == 0 ? text : type.name();
    std::free(text);
    return result;
}

bool applies(const Rule &rule, const doubled::Call &call, bool isOwn)
{
    if (!isOwn && !rule.isForEveryThread) return false;
    const auto isThere = [&](const doubled::Value &value) { return call.has(value); };
    if (!std::all_of(rule.values.begin(), rule.values.end(), isThere)) return false;
    return !rule.predicate.has_value() || call.satisfies(rule.predicate);
}

std::string notReplaced(const std::string &service)
{
    return "this program does not replace " + service + ": put the line `// Replaces: " + service +
           "` at the top of the test file";
}

/// Fail the test if the call is one of a service that is not replaced here. Texts of a test's own pass.
void expectNoted(const std::string &call, TestLine line)
{
    const std::string service = call.substr(0, call.find('('));
    const auto begins = [&](const char *prefix) { return service.starts_with(prefix); };
    if (!begins("DDS_") && !begins("VESK") && !begins("ZYL") && !begins("platform_")) return;
    if (doubled::Service::find(service) == nullptr) ADD_FAILURE_AT(line.file, line.number) << notReplaced(service);
}

/// One call fewer until each step; those that are due go into the list.
void takeDueSteps(Rule &rule, std::vector<Step> &dueOut)
{
    std::erase_if(rule.steps, [&](Step &step) {
        if (step.remaining > 1) {
            --step.remaining;
            return false;
        }
        dueOut.push_back(step);
        return !step.lasts;
    });
}

}  // namespace

// ---------------------------------------------------------------- services

namespace doubled {

void Service::enlist()
{
    _next = firstService;
    firstService = this;
}

Service *Service::find(const std::string &name)
{
    for (Service *service = firstService; service != nullptr; service = service->_next)
        if (name == service->_name) return service;
    return nullptr;
}

bool Service::isWatched()
{
    return !isInside.load(relaxed) && (ownDoubles.load(relaxed) != nullptr || everywhere.load(relaxed) != nullptr);
}

Verdict Service::arrive(const Call &call)
{
    const Inside inside;
    Verdict verdict;
    const bool isOwn = ownDoubles.load(relaxed) != nullptr;
    Doubles *const master = isOwn ? ownDoubles.load(relaxed) : everywhere.load(relaxed);
    if (master == nullptr) return verdict;
    bool isNoted = isOwn;
    const Rule *noting = nullptr;
    std::vector<Step> due;
    const auto rules = master->_rules.find(this);
    if (rules != master->_rules.end()) {
        for (const std::shared_ptr<Rule> &rule : rules->second) {
            if (!applies(*rule, call, isOwn)) continue;
            isNoted = true;
            if (rule->noting != Rule::Noting::plain) noting = rule.get();
            takeDueSteps(*rule, due);
        }
    }
    if (isNoted && noting == nullptr)
        master->_calls.push_back({_name, call.text()});
    else if (isNoted && noting->noting != Rule::Noting::none)
        master->_calls.push_back(
            {_name, noting->noting == Rule::Noting::text ? noting->text : call.textBy(noting->textFunction)});

    std::sort(due.begin(), due.end(), [](const Step &left, const Step &right) { return left.number < right.number; });
    for (Step &step : due) {
        if (step.kind == Kind::before) verdict.before.push_back(std::move(step.what));
        if (step.kind == Kind::after) verdict.after.push_back(std::move(step.what));
        if (step.kind != Kind::fail && step.kind != Kind::instead) continue;
        verdict.instead.reset();
        verdict.failure.reset();
        (step.kind == Kind::fail ? verdict.failure : verdict.instead) = std::move(step.what);
    }
    if (verdict.failure) ++master->_failedCount;
    return verdict;
}

std::string Service::mismatch(const std::type_info &expected, const std::any &given) const
{
    return std::string(_name) + " wants " + readable(expected) + " here, not " + readable(given.type());
}

std::string written(const char *text)
{
    return text == nullptr ? "null" : text;
}

std::string written(const DDS_Duration_t *duration)
{
    if (duration == nullptr) return "null";
    if (duration->sec == DDS_DURATION_INFINITE_SEC && duration->nanosec == DDS_DURATION_INFINITE_NSEC)
        return "infinite";
    return "{" + std::to_string(duration->sec) + " " + std::to_string(duration->nanosec) + "}";
}

}  // namespace doubled

// ---------------------------------------------------------------- rules

DoubledService &DoubledService::onEveryThread()
{
    const Inside inside;
    _rule->isForEveryThread = true;
    everywhere.store(_owner, relaxed);
    return *this;
}

DoubledService &DoubledService::as(const std::string &text)
{
    const Inside inside;
    _rule->noting = doubled::Rule::Noting::text;
    _rule->text = text;
    return *this;
}

DoubledService &DoubledService::unnoted()
{
    const Inside inside;
    _rule->noting = doubled::Rule::Noting::none;
    return *this;
}

DoubledService &DoubledService::fail(int nth)
{
    return plan(Kind::fail, nth, false, {});
}

DoubledService &DoubledService::failFrom(int nth)
{
    return plan(Kind::fail, nth, true, {});
}

DoubledService &DoubledService::forGood()
{
    const Inside inside;
    _rule->isForGood = true;
    return *this;
}

DoubledService &DoubledService::heal()
{
    const Inside inside;
    const auto rules = _owner->_rules.find(_service);
    if (rules != _owner->_rules.end())
        for (const std::shared_ptr<Rule> &rule : rules->second) rule->heal();
    return *this;
}

void DoubledService::addValue(doubled::Value value)
{
    const Inside inside;
    _rule->values.push_back(std::move(value));
}

void DoubledService::setPredicate(std::any predicate)
{
    if (_service == nullptr) return;
    const std::string problem = _service->acceptPredicate(predicate);
    if (!problem.empty()) return complain(problem);
    const Inside inside;
    _rule->predicate = std::move(predicate);
}

void DoubledService::setText(std::any text)
{
    if (_service == nullptr) return;
    const std::string problem = _service->acceptText(text);
    if (!problem.empty()) return complain(problem);
    const Inside inside;
    _rule->noting = Rule::Noting::function;
    _rule->textFunction = std::move(text);
}

DoubledService &DoubledService::plan(Kind kind, int nth, bool lasts, std::any what)
{
    if (_service == nullptr) return *this;
    const std::string problem =
        nth < 1 ? "calls are counted from 1, not from " + std::to_string(nth) : _service->accept(kind, what);
    if (!problem.empty()) {
        complain(problem);
        return *this;
    }
    const Inside inside;
    _rule->steps.push_back({kind, nth, lasts, std::move(what), ++_owner->_lastStep});
    return *this;
}

void DoubledService::complain(const std::string &text) const
{
    ADD_FAILURE_AT(_line.file, _line.number) << text;
}

// ---------------------------------------------------------------- the master

Doubles::Doubles() : _former(ownDoubles.load(relaxed))
{
    ownDoubles.store(this, relaxed);
}

Doubles::~Doubles()
{
    {
        const Inside inside;
        Doubles *self = this;
        everywhere.compare_exchange_strong(self, nullptr);
        ownDoubles.store(_former, relaxed);
    }
    for (const void *object : _named) doubled::setName(object, {});
}

DoubledService Doubles::on(const std::string &service, TestLine line)
{
    doubled::Service *const found = doubled::Service::find(service);
    const auto rule = std::make_shared<Rule>();
    const DoubledService result(*this, found, rule, line);
    if (found == nullptr) {
        result.complain(notReplaced(service));
        return result;
    }
    const Inside inside;
    auto &rules = _rules[found];
    // Rules that nobody can reach and that have nothing left to do.
    std::erase_if(rules, [](const std::shared_ptr<Rule> &old) {
        return old.use_count() == 1 && old->steps.empty() && old->noting == Rule::Noting::plain &&
               !old->isForEveryThread;
    });
    rules.push_back(rule);
    return result;
}

std::vector<std::string> Doubles::calls() const
{
    const Inside inside;
    std::vector<std::string> result;
    for (const Call &call : _calls) result.push_back(call.text);
    return result;
}

std::vector<std::string> Doubles::callsOf(std::initializer_list<std::string> calls, TestLine line) const
{
    for (const std::string &call : calls) expectNoted(call, line);
    const Inside inside;
    std::vector<std::string> result;
    for (const Call &noted : _calls)
        if (std::any_of(calls.begin(), calls.end(), [&](const std::string &call) { return noted.is(call); }))
            result.push_back(noted.text);
    return result;
}

int Doubles::count(const std::string &call, TestLine line) const
{
    expectNoted(call, line);
    const Inside inside;
    return static_cast<int>(
        std::count_if(_calls.begin(), _calls.end(), [&](const Call &noted) { return noted.is(call); }));
}

int Doubles::failedCount() const
{
    const Inside inside;
    return _failedCount;
}

void Doubles::clear()
{
    const Inside inside;
    _calls.clear();
}

void Doubles::heal()
{
    const Inside inside;
    for (auto &[service, rules] : _rules)
        for (const std::shared_ptr<Rule> &rule : rules) rule->heal();
}

void Doubles::setName(const void *object, const std::string &name)
{
    doubled::setName(object, name);
    _named.insert(object);
}

std::any Doubles::realOf(const std::string &service)
{
    const doubled::Service *const found = doubled::Service::find(service);
    return found != nullptr ? found->real() : std::any{};
}
