/// @file
/// A few real sequences beside their models: reading operations from bytes, comparing answers, messages and records.
/// Part of the sequence interpreter, which adds the operations.
///
/// Protection: none.
#ifndef SEQUENCE_COMPARISON_HPP
#define SEQUENCE_COMPARISON_HPP

#include <algorithm>
#include <array>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "SequenceInstances.hpp"
#include "SequenceInterpreter.hpp"
#include "SequenceModel.hpp"
#include "dds_c/dds_c_log.h"

/// The input; zeros after its end.
class SequenceBytes {
public:
    SequenceBytes(const std::uint8_t *data, std::size_t size) : _next(data), _end(data + size) {}
    bool isEmpty() const { return _next == _end; }
    std::uint8_t byte() { return isEmpty() ? std::uint8_t{0} : *_next++; }
    bool flag() { return (byte() & 1) != 0; }
    /// Mostly a small number, sometimes one from the edge.
    std::int32_t number()
    {
        static constexpr std::int32_t edges[] = {-1, -2, INT32_MIN, INT32_MAX};
        const std::uint8_t value = byte();
        return value < 0xE0 ? value % 12 : edges[value % 4];
    }

private:
    const std::uint8_t *_next;
    const std::uint8_t *_end;
};

/// Counts messages; every one must name an operation of the instance, at level 2.
struct SequenceMessageCounter {
    std::string prefix;
    int count = 0;
    bool isForeign = false;

    static void receive(void *self, const ZYLLogRecord *record)
    {
        auto *counter = static_cast<SequenceMessageCounter *>(self);
        ++counter->count;
        if (record->level != ZYL_LOG_LEVEL_WARNING || !std::string_view(record->function).starts_with(counter->prefix))
            counter->isForeign = true;
    }
};

template <class Api>
class SequenceComparison {
protected:
    using Seq = typename Api::Seq;
    using Element = typename Api::Element;
    using Layout = SequenceModel::Layout;

    static constexpr int subjectCount = 4;
    static constexpr int placeCount = 8;

    /// A record, its model, and a caller's memory to lend to it.
    struct Subject {
        Seq seq{};
        SequenceModel model;
        std::array<Element, placeCount> places{};
        std::array<Element *, placeCount> pointers{};
    };

    SequenceComparison(const SequenceBytes &bytes, bool hasTrace, SequenceOperationCounts *countsInOut)
        : _bytes(bytes), _hasTrace(hasTrace), _counts(countsInOut)
    {
        _messages.prefix = Api::name;
        _messages.prefix += "_";
    }

    Subject &nextSubject() { return _subjects[_bytes.byte() % subjectCount]; }
    SequenceModel::Heap heap() const { return {sequenceHeapIsOutOfMemory, sizeof(Element)}; }

    void fail(const std::string &what)
    {
        _isRight = false;
        _trace << "  DIFFERENT: " << what << "\n";
    }

    void expect(bool isTrue, const char *what)
    {
        if (!isTrue) fail(what);
    }

    template <class... Arguments>
    void trace(const char *name, const Subject &subject, Arguments... arguments)
    {
        if (!_hasTrace) return;
        _trace << "  " << name << " #" << (&subject - _subjects.data());
        ((_trace << " " << arguments), ...);
        _trace << (sequenceHeapIsOutOfMemory ? " (out of memory)\n" : "\n");
    }

    /// Compare an operation's answer with the model's. A success is silent, a failure is not.
    void settle(const char *name, bool actual, bool expected)
    {
        expect(actual == expected, expected ? "it should have succeeded" : "it should have failed");
        expect((_messages.count == 0) == expected, "a success printed something, or a failure nothing");
        expect(!_messages.isForeign, "a message of another level or function");
        _messages.count = 0;
        if (_counts != nullptr) ++(expected ? _counts->counts[name].succeeded : _counts->counts[name].failed);
        sequenceHeapIsOutOfMemory = false;
    }

    void compare(const Subject &subject)
    {
        const Seq &seq = subject.seq;
        const SequenceModel &model = subject.model;
        expect((seq._sequence_init == DDS_SEQUENCE_MAGIC_NUMBER) == model.isInitialized, "initialization");
        const int parameters[5] = {seq._elementAllocParams.allocate_pointers,
                                   seq._elementAllocParams.allocate_optional_members,
                                   seq._elementAllocParams.allocate_memory, seq._elementDeallocParams.delete_pointers,
                                   seq._elementDeallocParams.delete_optional_members};
        expect(std::equal(parameters, parameters + 5, model.parameters), "parameters");
        expect(seq._maximum == model.maximum, "maximum");
        if (!model.isInitialized) return;

        expect(seq._length == model.length, "length");
        expect((seq._owned != 0) == model.isOwned, "ownership");
        expect(seq._absolute_maximum == model.absoluteMaximum, "absolute maximum");
        expect(seq._read_token1 == token(model.tokens[0]) && seq._read_token2 == token(model.tokens[1]), "tokens");
        const bool isContiguous = model.layout == Layout::owned || model.layout == Layout::contiguousLoan;
        expect((seq._contiguous_buffer != nullptr) == isContiguous, "contiguous buffer");
        expect((seq._discontiguous_buffer != nullptr) == (model.layout == Layout::discontiguousLoan),
               "discontiguous buffer");
        if (model.layout == Layout::contiguousLoan)
            expect(seq._contiguous_buffer == subject.places.data(), "the caller's buffer");
        if (model.layout == Layout::discontiguousLoan)
            expect(seq._discontiguous_buffer == subject.pointers.data(), "the caller's pointers");
        for (std::uint32_t i = 0; _isRight && i < model.maximum; ++i)
            if (model.places[i].has_value())
                expect(
                    holds(isContiguous ? seq._contiguous_buffer[i] : *seq._discontiguous_buffer[i], *model.places[i]),
                    "an element");
    }

    static bool holds(const Element &element, int number) { return Api::isSame(element, Api::element(number)); }
    /// A token for each of the numbers 0 to 3; number 0 is null.
    static void *token(int number)
    {
        static char tokenPlaces[4];
        return number == 0 ? nullptr : &tokenPlaces[number];
    }

    /// Give back or free what the record holds.
    void release(Subject &subject)
    {
        if (subject.model.isInitialized)
            expect(subject.model.isOwned ? freeByHand(subject) : Api::unloan(&subject.seq) != 0, "release");
        subject.model = SequenceModel{};
        _messages.count = 0;
    }
    static bool freeByHand(Subject &subject)
    {
        Api::delete_bufferI(&subject.seq, Api::get_contiguous_bufferI(&subject.seq), 0, 0);
        return Api::initialize(&subject.seq) != 0;
    }

    SequenceBytes _bytes;
    const bool _hasTrace;
    SequenceOperationCounts *const _counts;
    std::array<Subject, subjectCount> _subjects{};
    SequenceMessageCounter _messages;
    std::ostringstream _trace;
    bool _isRight = true;
};

#endif
