/// @file
/// What the tests of the sequence share: two records, a caller's buffers, the log compared line by line, and a check at
/// the end that no heap block is left.
#ifndef SEQUENCE_FIXTURE_HPP
#define SEQUENCE_FIXTURE_HPP

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "LogCapture.hpp"
#include "SequenceInstances.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

/// One expected message: the operation that printed it (without the sequence's name), template, arguments.
struct SequenceLogLine {
    template <class... Arguments>
    SequenceLogLine(const char *operation_, const ZYLLogTemplate &message, Arguments... arguments)
        : operation(operation_), messageTemplate(message.name), text(LogCapture::format(message.format, arguments...))
    {
    }
    std::string operation, messageTemplate, text;
};

template <class Api_>
class SequenceFixture : public testing::Test {
protected:
    using Api = Api_;
    using Seq = typename Api::Seq;
    using Element = typename Api::Element;

    SequenceFixture()
    {
        for (int i = 0; i < 8; ++i) {
            elements[static_cast<std::size_t>(i)] = Api::element(i + 1);
            pointers[static_cast<std::size_t>(i)] = &elements[static_cast<std::size_t>(7 - i)];
        }
    }

    void TearDown() override
    {
        log.clear();
        for (Seq *record : {&seq, &other})
            if (record->_sequence_init == DDS_SEQUENCE_MAGIC_NUMBER && record->_owned) Api::finalize(record);
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocksBefore) << "heap blocks are left";
    }

    /// Success when exactly these messages were printed since the last call, all at level 2.
    testing::AssertionResult printed(const std::vector<SequenceLogLine> &expected)
    {
        const std::vector<LogCapture::Entry> entries = log.entries();
        bool isSame = entries.size() == expected.size();
        for (std::size_t i = 0; isSame && i < entries.size(); ++i)
            isSame = entries[i].level == 2 && entries[i].module == 0xF0000 &&
                     entries[i].function == std::string(Api::name) + "_" + expected[i].operation &&
                     entries[i].messageTemplate == expected[i].messageTemplate && entries[i].text == expected[i].text;
        const std::string actual = log.print();
        log.clear();
        if (isSame) return testing::AssertionSuccess();
        auto failure = testing::AssertionFailure() << "expected:\n";
        for (const SequenceLogLine &line : expected)
            failure << "  " << line.operation << " " << line.messageTemplate << " \"" << line.text << "\"\n";
        return failure << "printed:\n" << actual;
    }
    testing::AssertionResult printedNothing() { return printed({}); }

    /// Make a record an owned sequence of elements 1 .. length with this capacity.
    void fill(Seq &record, int length, int maximum)
    {
        ASSERT_TRUE(Api::ensure_length(&record, length, maximum));
        for (int i = 0; i < length; ++i) *Api::get_reference(&record, i) = Api::element(i + 1);
    }

    /// Success when the record is an owned sequence with this capacity and elements 1 .. length.
    testing::AssertionResult holds(const Seq &record, unsigned length, unsigned maximum)
    {
        if (record._sequence_init != DDS_SEQUENCE_MAGIC_NUMBER || !record._owned || record._discontiguous_buffer)
            return testing::AssertionFailure() << "not an owned sequence";
        if (record._length != length || record._maximum != maximum)
            return testing::AssertionFailure() << "length " << record._length << ", maximum " << record._maximum;
        if ((record._contiguous_buffer != nullptr) != (maximum > 0))
            return testing::AssertionFailure() << "wrong buffer";
        for (unsigned i = 0; i < length; ++i)
            if (!Api::isSame(record._contiguous_buffer[i], Api::element(static_cast<int>(i) + 1)))
                return testing::AssertionFailure() << "element " << i << " differs";
        return testing::AssertionSuccess();
    }

    /// Success when every field of the record still has the value it had in `before`.
    static testing::AssertionResult isUnchanged(const Seq &now, const Seq &before)
    {
        const bool isSame = now._contiguous_buffer == before._contiguous_buffer &&
                            now._discontiguous_buffer == before._discontiguous_buffer &&
                            now._read_token1 == before._read_token1 && now._read_token2 == before._read_token2 &&
                            now._maximum == before._maximum && now._length == before._length &&
                            now._sequence_init == before._sequence_init && now._owned == before._owned &&
                            hasParams(now, before) && now._absolute_maximum == before._absolute_maximum;
        return isSame ? testing::AssertionSuccess() : testing::AssertionFailure() << "the record has changed";
    }

    static bool hasParams(const Seq &now, const Seq &before)
    {
        const auto &a = now._elementAllocParams;
        const auto &b = before._elementAllocParams;
        const auto &c = now._elementDeallocParams;
        const auto &d = before._elementDeallocParams;
        return a.allocate_pointers == b.allocate_pointers &&
               a.allocate_optional_members == b.allocate_optional_members && a.allocate_memory == b.allocate_memory &&
               c.delete_pointers == d.delete_pointers && c.delete_optional_members == d.delete_optional_members;
    }

    /// The documented initial state, as the static initializer gives it.
    static Seq initialState() { return DDS_SEQUENCE_INITIALIZER; }

    /// A record that was never initialized: every byte is 0xAB.
    static Seq garbage()
    {
        Seq record;
        auto *bytes = reinterpret_cast<unsigned char *>(&record);
        for (std::size_t i = 0; i < sizeof record; ++i) bytes[i] = 0xAB;
        return record;
    }

    const std::size_t blocksBefore = ZYLOsapiHeap_getBlockCount();
    LogCapture log;
    Seq seq{};                          ///< All zero: not yet initialized.
    Seq other{};                        ///< The same.
    std::array<Element, 8> elements{};  ///< A caller's buffer: elements 1 .. 8.
    std::array<Element *, 8> pointers;  ///< Another, backwards: elements 8 .. 1.
};

using SequenceApis = testing::Types<CpuInfoApi, ConditionApi, ByteApi>;

#endif
