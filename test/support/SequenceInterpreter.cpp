/// @file
/// The operations of the sequence interpreter. See SequenceInterpreter.hpp.
#include "SequenceInterpreter.hpp"

#include <cstring>
#include <iterator>
#include <vector>

#include "SequenceComparison.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

bool sequenceHeapIsOutOfMemory = false;

namespace {

template <class Api>
class Interpreter : SequenceComparison<Api> {
    using Base = SequenceComparison<Api>;
    using Base::_bytes;
    using Base::_isRight;
    using Base::_messages;
    using Base::_subjects;
    using Base::_trace;
    using Base::compare;
    using Base::expect;
    using Base::fail;
    using Base::heap;
    using Base::holds;
    using Base::nextSubject;
    using Base::placeCount;
    using Base::release;
    using Base::settle;
    using Base::token;
    using Base::trace;
    using typename Base::Element;
    using typename Base::Layout;
    using typename Base::Seq;
    using typename Base::Subject;

public:
    Interpreter(const SequenceBytes &bytes, bool canRunOutOfMemory, bool hasTrace, SequenceOperationCounts *countsInOut)
        : Base(bytes, hasTrace, countsInOut), _canRunOutOfMemory(canRunOutOfMemory)
    {
    }

    /// @return whether the records and the model agreed to the end.
    bool run()
    {
        const std::size_t blocks = ZYLOsapiHeap_getBlockCount();
        ZYLLog_setSink(&SequenceMessageCounter::receive, &_messages);
        while (_isRight && !_bytes.isEmpty()) {
            const auto &operation = operations[_bytes.byte() % std::size(operations)];
            (this->*operation.run)(operation.name);
            for (const Subject &subject : _subjects) compare(subject);
        }
        sequenceHeapIsOutOfMemory = false;
        for (Subject &subject : _subjects) release(subject);
        ZYLLog_setSink(nullptr, nullptr);
        if (_isRight && ZYLOsapiHeap_getBlockCount() != blocks) fail("heap blocks are left");
        return _isRight;
    }

    std::string text() const { return std::string(Api::name) + ":\n" + _trace.str(); }

private:
    struct Operation {
        const char *name;
        void (Interpreter::*run)(const char *name);
    };
    static const Operation operations[28];

    void startOver(const char *name)
    {
        Subject &target = nextSubject();
        const int kind = _bytes.byte() % 4;
        trace(name, target, kind);
        release(target);
        if (kind == 0) target.seq = Seq{};
        if (kind == 1) {
            std::memset(static_cast<void *>(&target.seq), 0xAB, sizeof target.seq);
            target.model.maximum = 0xABABABABU;
            for (int &parameter : target.model.parameters) parameter = 0xAB;
        }
        if (kind == 2) target.seq = Seq DDS_SEQUENCE_INITIALIZER;
        if (kind == 3) expect(Api::initialize(&target.seq) != 0, "initialize");
        if (kind >= 2) target.model.initialize();
        settle(name, true, true);
    }

    void runOutOfMemory(const char *)
    {
        // For the next operation.
        sequenceHeapIsOutOfMemory = _canRunOutOfMemory;
    }

    void finalize(const char *name)
    {
        Subject &target = nextSubject();
        trace(name, target);
        const bool expected = target.model.setMaximum(0, heap());
        settle(name, Api::finalize(&target.seq) != 0, expected);
    }

    void setMaximum(const char *name)
    {
        Subject &target = nextSubject();
        const std::int32_t maximum = _bytes.number();
        trace(name, target, maximum);
        const bool expected = target.model.setMaximum(maximum, heap());
        settle(name, Api::set_maximum(&target.seq, maximum) != 0, expected);
    }

    void setAbsoluteMaximum(const char *name)
    {
        Subject &target = nextSubject();
        const std::int32_t maximum = _bytes.number();
        trace(name, target, maximum);
        const bool expected = target.model.setAbsoluteMaximum(maximum);
        settle(name, Api::set_absolute_maximum(&target.seq, maximum) != 0, expected);
    }

    void setLength(const char *name)
    {
        Subject &target = nextSubject();
        const auto length = static_cast<std::uint32_t>(_bytes.number());
        trace(name, target, length);
        const bool expected = target.model.setLength(length, heap());
        settle(name, Api::set_length(&target.seq, length) != 0, expected);
    }

    void ensureLength(const char *name)
    {
        Subject &target = nextSubject();
        const std::int32_t length = _bytes.number();
        const std::int32_t maximum = _bytes.number();
        trace(name, target, length, maximum);
        const bool expected = target.model.ensureLength(length, maximum, heap());
        settle(name, Api::ensure_length(&target.seq, length, maximum) != 0, expected);
    }

    void getters(const char *name)
    {
        Subject &target = nextSubject();
        trace(name, target);
        target.model.use();
        expect(Api::get_length(&target.seq) == static_cast<DDS_Long>(target.model.length), "get_length");
        expect(Api::get_maximum(&target.seq) == static_cast<DDS_Long>(target.model.maximum), "get_maximum");
        expect((Api::has_ownership(&target.seq) != 0) == target.model.isOwned, "has_ownership");
        expect(Api::get_contiguous_buffer(&target.seq) == target.seq._contiguous_buffer, "get_contiguous_buffer");
        expect(Api::get_discontiguous_bufferI(&target.seq) == target.seq._discontiguous_buffer,
               "get_discontiguous_bufferI");
        settle(name, true, true);
    }

    void get(const char *name)
    {
        Subject &target = nextSubject();
        const std::int32_t index = _bytes.number();
        trace(name, target, index);
        SequenceModel &model = target.model;
        model.use();
        const bool isGood = index >= 0 && static_cast<std::uint32_t>(index) < model.length;
        const Element element = Api::get(&target.seq, index);
        if (model.maximum == 0)
            expect(holds(element, 0), "the element of an empty sequence is zero");
        else if (const auto &place = model.places[isGood ? static_cast<std::uint32_t>(index) : 0]; place.has_value())
            expect(holds(element, *place), "the element");
        settle(name, isGood, isGood);  // the message tells
    }

    void store(const char *name)
    {
        Subject &target = nextSubject();
        const std::int32_t index = _bytes.number();
        const int number = _bytes.byte() % 251;
        trace(name, target, index, number);
        target.model.use();
        const bool isGood = index >= 0 && static_cast<std::uint32_t>(index) < target.model.length;
        Element *reference = Api::get_reference(&target.seq, index);
        if (reference != nullptr && isGood) {
            *reference = Api::element(number);
            target.model.places[static_cast<std::uint32_t>(index)] = number;
        }
        settle(name, reference != nullptr, isGood);
    }

    void fill(const char *name)
    {
        Subject &target = nextSubject();
        const int first = _bytes.byte() % 230;
        trace(name, target, first);
        target.model.use();
        expect(Api::get_length(&target.seq) == static_cast<DDS_Long>(target.model.length), "get_length");
        for (std::uint32_t i = 0; _isRight && i < target.model.length; ++i) {
            const int number = first + static_cast<int>(i);
            *Api::get_reference(&target.seq, static_cast<DDS_Long>(i)) = Api::element(number);
            target.model.places[i] = number;
        }
        settle(name, true, true);
    }

    void setPointersAllocation(const char *name)
    {
        Subject &target = nextSubject();
        const auto flag = static_cast<DDS_Boolean>(_bytes.flag());
        trace(name, target, int{flag});
        const bool expected = target.model.maximum == 0;
        if (expected) target.model.parameters[0] = target.model.parameters[3] = flag;
        const bool actual = Api::set_element_pointers_allocation(&target.seq, flag) != 0;
        expect(Api::get_element_pointers_allocation(&target.seq) == target.model.parameters[0], "the flag");
        settle(name, actual, expected);
    }

    void setAllocationParams(const char *name)
    {
        Subject &target = nextSubject();
        const std::uint8_t bits = _bytes.byte();
        trace(name, target, int{bits});
        // Memory is rarely forbidden, or little else would be tested.
        const DDS_TypeAllocationParams_t params = {static_cast<DDS_Boolean>(bits & 1),
                                                   static_cast<DDS_Boolean>(bits >> 1 & 1),
                                                   static_cast<DDS_Boolean>(bits < 0xE0)};
        const bool expected = target.model.maximum == 0;
        int *parameters = target.model.parameters;
        if (expected) {
            parameters[0] = params.allocate_pointers;
            parameters[1] = params.allocate_optional_members;
            parameters[2] = params.allocate_memory;
        }
        const bool actual = Api::set_element_allocation_params(&target.seq, &params) != 0;
        DDS_TypeAllocationParams_t read{};
        Api::get_element_allocation_params(&target.seq, &read);
        expect(read.allocate_pointers == parameters[0] && read.allocate_optional_members == parameters[1] &&
                   read.allocate_memory == parameters[2],
               "allocation parameters");
        settle(name, actual, expected);
    }

    void setDeallocationParams(const char *name)
    {
        Subject &target = nextSubject();
        const DDS_TypeDeallocationParams_t params = {static_cast<DDS_Boolean>(_bytes.flag()),
                                                     static_cast<DDS_Boolean>(_bytes.flag())};
        trace(name, target, int{params.delete_pointers}, int{params.delete_optional_members});
        target.model.parameters[3] = params.delete_pointers;
        target.model.parameters[4] = params.delete_optional_members;
        const bool actual = Api::set_element_deallocation_params(&target.seq, &params) != 0;
        DDS_TypeDeallocationParams_t read{};
        Api::get_element_deallocation_params(&target.seq, &read);
        expect(read.delete_pointers == params.delete_pointers &&
                   read.delete_optional_members == params.delete_optional_members,
               "deallocation parameters");
        settle(name, actual, true);
    }

    void tokens(const char *name)
    {
        Subject &target = nextSubject();
        const int numbers[2] = {_bytes.byte() % 4, _bytes.byte() % 4};
        trace(name, target, numbers[0], numbers[1]);
        target.model.use();
        std::copy_n(numbers, 2, target.model.tokens);
        Api::set_read_tokenI(&target.seq, token(numbers[0]), token(numbers[1]));
        void *read[2] = {this, this};
        Api::get_read_tokenI(&target.seq, &read[0], &read[1]);
        expect(read[0] == token(numbers[0]) && read[1] == token(numbers[1]), "the tokens that were read");
        settle(name, true, true);
    }

    void copy(const char *name)
    {
        Subject &target = nextSubject();
        Subject &source = nextSubject();
        trace(name, target, &source - _subjects.data());
        const bool expected = target.model.copy(source.model, heap());
        Seq *result = Api::copy(&target.seq, &source.seq);
        expect(result == nullptr || result == &target.seq, "the result");
        settle(name, result != nullptr, expected);
    }

    void copyNoAlloc(const char *name)
    {
        Subject &target = nextSubject();
        Subject &source = nextSubject();
        trace(name, target, &source - _subjects.data());
        const bool expected = target.model.copyWithoutAllocation(source.model);
        settle(name, Api::copy_no_alloc(&target.seq, &source.seq) != 0, expected);
    }

    void copyNoAllocI(const char *name)
    {
        Subject &target = nextSubject();
        Subject &source = nextSubject();
        trace(name, target, &source - _subjects.data());
        target.model.use();
        static_cast<void>(Api::get_length(&target.seq));  // the caller's duty: the destination has been used
        const bool expected = target.model.copyWithoutAllocation(source.model);
        settle(name, Api::copy_no_allocI(&target.seq, &source.seq) != 0, expected);
    }

    void fromArray(const char *name)
    {
        Subject &target = nextSubject();
        const std::int32_t length = std::min(_bytes.number(), placeCount);
        const bool hasArray = _bytes.byte() >= 0x10;
        trace(name, target, length, hasArray);
        std::array<Element, placeCount> array;
        SequenceModel lent;
        std::vector<SequenceModel::Place> numbers;
        for (int i = 0; i < placeCount; ++i) {
            array[static_cast<std::size_t>(i)] = Api::element(i + 1);
            numbers.emplace_back(i + 1);
        }
        const bool expected =
            lent.lend(Layout::contiguousLoan, hasArray, length, length, numbers) && target.model.copy(lent, heap());
        settle(name, Api::from_array(&target.seq, hasArray ? array.data() : nullptr, length) != 0, expected);
    }

    void toArray(const char *name)
    {
        Subject &source = nextSubject();
        const std::int32_t capacity = std::min(_bytes.number(), placeCount);
        trace(name, source, capacity);
        std::array<Element, placeCount> array;
        array.fill(Api::element(250));
        const std::uint32_t length = source.model.lengthAsSource();
        const bool expected = capacity >= 0 && length <= static_cast<std::uint32_t>(capacity);
        settle(name, Api::to_array(&source.seq, array.data(), capacity) != 0, expected);
        for (std::uint32_t i = 0; i < placeCount; ++i) {
            if (!expected || i >= length)
                expect(holds(array[i], 250), "the array beyond the length");
            else if (source.model.places[i].has_value())
                expect(holds(array[i], *source.model.places[i]), "an element of the array");
        }
    }

    void lendContiguous(const char *name) { lend(name, Layout::contiguousLoan); }
    void lendDiscontiguous(const char *name) { lend(name, Layout::discontiguousLoan); }
    void lend(const char *name, Layout layout)
    {
        Subject &target = nextSubject();
        const std::int32_t length = _bytes.number();
        std::int32_t maximum = _bytes.number();
        const bool hasBuffer = _bytes.byte() >= 0x10;
        // Nobody has more places than there are, so that a larger number is kept only where it will be refused.
        const bool isBounded = target.model.isInitialized && target.model.absoluteMaximum < INT32_MAX;
        if (!isBounded || maximum <= static_cast<std::int32_t>(target.model.absoluteMaximum))
            maximum = std::min(maximum, placeCount);
        trace(name, target, length, maximum, hasBuffer);

        const bool isFree = !target.model.isInitialized || target.model.maximum == 0;
        std::vector<SequenceModel::Place> numbers;
        for (int i = 0; isFree && i < placeCount; ++i) {
            const auto at = static_cast<std::size_t>(layout == Layout::contiguousLoan ? i : placeCount - 1 - i);
            target.places[at] = Api::element(i + 100);
            target.pointers[static_cast<std::size_t>(i)] = &target.places[at];
            numbers.emplace_back(i + 100);
        }
        const bool expected = target.model.lend(layout, hasBuffer, length, maximum, numbers);
        const bool actual =
            layout == Layout::contiguousLoan
                ? Api::loan_contiguous(&target.seq, hasBuffer ? target.places.data() : nullptr, length, maximum) != 0
                : Api::loan_discontiguous(&target.seq, hasBuffer ? target.pointers.data() : nullptr, length, maximum) !=
                      0;
        settle(name, actual, expected);
    }

    void unloan(const char *name)
    {
        Subject &target = nextSubject();
        trace(name, target);
        const std::array<Element, placeCount> before = target.places;
        const bool expected = target.model.unloan();
        settle(name, Api::unloan(&target.seq) != 0, expected);
        expect(std::equal(before.begin(), before.end(), target.places.begin(), &Api::isSame), "the caller's memory");
    }

    void check(const char *name)
    {
        Subject &target = nextSubject();
        const int way = _bytes.byte() % 7;
        trace(name, target, way);
        Seq copy = target.seq;
        Element element = Api::element(0);
        Element *pointer = &element;
        bool expected = target.model.isInitialized;
        if (way == 1) copy._sequence_init = 0;
        if (way == 2) copy._contiguous_buffer = &element;
        if (way == 2) copy._discontiguous_buffer = &pointer;
        if (way == 3) copy._length = copy._maximum + 1;
        if (way == 4) copy._owned = DDS_BOOLEAN_TRUE;
        if (way == 4) copy._discontiguous_buffer = &pointer;
        if (way == 5) copy._contiguous_buffer = nullptr;
        if (way == 5) copy._discontiguous_buffer = nullptr;
        if (way == 6) copy._absolute_maximum = copy._maximum - 1;
        if ((way >= 1 && way <= 4) || (way >= 5 && target.model.maximum > 0)) expected = false;
        settle(name, Api::check_invariantsI(&copy, (_messages.prefix + "check").c_str()) != 0, expected);
    }

    void refuseNull(const char *name)
    {
        Subject &target = nextSubject();
        const int which = _bytes.byte() % 9;
        trace(name, target, which);
        bool actual = true;
        if (which == 0) actual = Api::copy(nullptr, &target.seq) != nullptr;
        if (which == 1) actual = Api::copy(&target.seq, nullptr) != nullptr;
        if (which == 2) actual = Api::set_maximum(nullptr, 1) != 0;
        if (which == 3) actual = Api::ensure_length(nullptr, 1, 2) != 0;
        if (which == 4) actual = Api::to_array(nullptr, target.places.data(), 1) != 0;
        if (which == 5) actual = Api::from_array(nullptr, target.places.data(), 1) != 0;
        if (which == 6) actual = Api::unloan(nullptr) != 0;
        if (which == 7) actual = Api::set_element_allocation_params(&target.seq, nullptr) != 0;
        if (which == 8) actual = Api::get_reference(nullptr, 0) != nullptr;
        settle(name, actual, false);
    }

    const bool _canRunOutOfMemory;
};

// The frequent ones twice.
template <class Api>
const typename Interpreter<Api>::Operation Interpreter<Api>::operations[28] = {
    {"set_maximum", &Interpreter::setMaximum},
    {"set_length", &Interpreter::setLength},
    {"set_length", &Interpreter::setLength},
    {"ensure_length", &Interpreter::ensureLength},
    {"store", &Interpreter::store},
    {"fill", &Interpreter::fill},
    {"fill", &Interpreter::fill},
    {"get", &Interpreter::get},
    {"copy", &Interpreter::copy},
    {"copy", &Interpreter::copy},
    {"copy_no_alloc", &Interpreter::copyNoAlloc},
    {"copy_no_allocI", &Interpreter::copyNoAllocI},
    {"from_array", &Interpreter::fromArray},
    {"to_array", &Interpreter::toArray},
    {"loan_contiguous", &Interpreter::lendContiguous},
    {"loan_discontiguous", &Interpreter::lendDiscontiguous},
    {"unloan", &Interpreter::unloan},
    {"finalize", &Interpreter::finalize},
    {"start over", &Interpreter::startOver},
    {"run out of memory", &Interpreter::runOutOfMemory},
    {"getters", &Interpreter::getters},
    {"tokens", &Interpreter::tokens},
    {"set_absolute_maximum", &Interpreter::setAbsoluteMaximum},
    {"set_element_pointers_allocation", &Interpreter::setPointersAllocation},
    {"set_element_allocation_params", &Interpreter::setAllocationParams},
    {"set_element_deallocation_params", &Interpreter::setDeallocationParams},
    {"check_invariantsI", &Interpreter::check},
    {"null", &Interpreter::refuseNull},
};

template <class Api>
std::string runOn(const SequenceBytes &bytes, bool canRunOutOfMemory, SequenceOperationCounts *countsInOut)
{
    Interpreter<Api> quick(bytes, canRunOutOfMemory, false, countsInOut);
    if (quick.run()) return {};
    Interpreter<Api> again(bytes, canRunOutOfMemory, true, nullptr);
    again.run();
    return again.text();
}

}  // namespace

std::string runSequenceOperations(const std::uint8_t *data, std::size_t size, bool canRunOutOfMemory,
                                  SequenceOperationCounts *countsInOut)
{
    SequenceBytes bytes(data, size);
    switch (bytes.byte() % 3) {
        case 0:
            return runOn<CpuInfoApi>(bytes, canRunOutOfMemory, countsInOut);
        case 1:
            return runOn<ConditionApi>(bytes, canRunOutOfMemory, countsInOut);
        default:
            return runOn<ByteApi>(bytes, canRunOutOfMemory, countsInOut);
    }
}
