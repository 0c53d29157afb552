/// @file
/// What sequences of an application reach the library through: buffers of the tagged heap, and the catalog's messages.
// Replaces: ZYLOsapiHeap_reallocateMemoryInternal ZYLOsapiHeap_freeMemoryInternal
#include <gmock/gmock.h>

#include <cstring>
#include <string>

#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "dds_c/generic/dds_c_sequence_TSeqSupport.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

class SequenceSupport : public testing::Test {
protected:
    Doubles doubles;
};

TEST_F(SequenceSupport, a_buffer_is_an_array_of_the_tagged_heap)
{
    const std::size_t blocksBefore = ZYLOsapiHeap_getBlockCount();
    std::string asked;
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal")
        .before([&](void **, std::size_t size, int alignment, int reallocate, int flag, const char *routine,
                    ZYLOsapiAllocKind kind, const char *typeName) {
            EXPECT_EQ(size, 100U);
            EXPECT_EQ(alignment, ZYL_OSAPI_HEAP_DEFAULT);
            EXPECT_EQ(reallocate, 0);
            EXPECT_EQ(flag, 0);
            EXPECT_EQ(kind, ZYL_OSAPI_ARRAY_ALLOC);
            asked = std::string(routine) + " " + typeName;
        });
    void *buffer = ZYLSequenceSupport_allocateBuffer(100);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(asked, "ZYLOsapiHeap_allocateArray T");
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer) % ZYL_SEQUENCE_BUFFER_ALIGNMENT, 0U);
    std::memset(buffer, 1, 100);
    ZYLSequenceSupport_freeBuffer(buffer);
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocksBefore);
}

TEST_F(SequenceSupport, no_memory_and_no_bytes_give_no_buffer)
{
    const LogCapture log(0xff);
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").fail(1);
    EXPECT_EQ(ZYLSequenceSupport_allocateBuffer(100), nullptr);
    EXPECT_EQ(ZYLSequenceSupport_allocateBuffer(0), nullptr);
    ZYLSequenceSupport_freeBuffer(nullptr);
    EXPECT_NO_LOG(log);  // the operation of the sequence speaks
}

TEST_F(SequenceSupport, what_is_no_buffer_is_reported_and_left_alone)
{
    void *structure = ZYLOsapiHeap_allocateStructure<std::uint64_t>("uint64_t");
    const std::size_t blocksBefore = ZYLOsapiHeap_getBlockCount();
    const LogCapture log;
    ZYLSequenceSupport_freeBuffer(structure);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_OSAPI_MEMORY_LOG_BAD_BLOCK_s, "ZYLOsapiHeap_freeArray");
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocksBefore);
    ZYLOsapiHeap_freeStructure(structure);
}

TEST_F(SequenceSupport, the_gate_is_that_of_level_2_and_of_the_sequences)
{
    const std::uint32_t levels = DDSLog_g_instrumentationMask;
    const std::uint32_t submodules = DDSLog_g_submoduleMask;
    DDSLog_g_instrumentationMask = ZYL_LOG_LEVEL_WARNING;
    DDSLog_g_submoduleMask = DDS_SUBMODULE_MASK_SEQUENCE;
    EXPECT_EQ(ZYLSequenceSupport_isLogEnabled(), DDS_BOOLEAN_TRUE);
    DDSLog_g_instrumentationMask = ~ZYL_LOG_LEVEL_WARNING;
    EXPECT_EQ(ZYLSequenceSupport_isLogEnabled(), DDS_BOOLEAN_FALSE);
    DDSLog_g_instrumentationMask = ZYL_LOG_LEVEL_WARNING;
    DDSLog_g_submoduleMask = ~DDS_SUBMODULE_MASK_SEQUENCE;
    EXPECT_EQ(ZYLSequenceSupport_isLogEnabled(), DDS_BOOLEAN_FALSE);
    DDSLog_g_instrumentationMask = levels;
    DDSLog_g_submoduleMask = submodules;
}

struct Line {
    ZYLSequenceMessage message;
    const ZYLLogTemplate *messageTemplate;
    const char *text;
};
const Line lines[] = {
    {ZYL_SEQUENCE_BAD_PARAMETER, &DDS_LOG_BAD_PARAMETER_s, "!bad parameter: what"},
    {ZYL_SEQUENCE_ASSERT_FAILURE, &ZYL_LOG_ASSERT_FAILURE_s, "!assert: what"},
    {ZYL_SEQUENCE_FAILURE, &ZYL_LOG_ANY_FAILURE_s, "!what"},
    {ZYL_SEQUENCE_GET_FAILURE, &DDS_LOG_GET_FAILURE_s, "!get what"},
    {ZYL_SEQUENCE_SET_FAILURE, &DDS_LOG_SET_FAILURE_s, "!set what"},
    {ZYL_SEQUENCE_NOT_OWNER, &DDS_LOG_SEQUENCE_NOT_OWNER, "!the sequence does not own its memory"},
    {ZYL_SEQUENCE_MALLOC_FAILURE, &ZYL_LOG_MALLOC_FAILURE_d, "!allocate 7 bytes"},
    {ZYL_SEQUENCE_INSUFFICIENT_SPACE, &ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, "!insufficient space: have 3, need 7"},
};

TEST_F(SequenceSupport, each_message_is_its_template_of_the_catalog_in_the_name_of_the_operation)
{
    for (const Line &line : lines) {
        const LogCapture log;
        ZYLSequenceSupport_log(line.message, "include/dds_c/Some.hpp", 55, "SomeSeq_copy", "what", 3, 7);
        const auto entries = log.entries();
        ASSERT_EQ(entries.size(), 1U);
        EXPECT_EQ(entries[0].level, ZYL_LOG_LEVEL_WARNING);
        EXPECT_EQ(entries[0].module, 0xF0000U);
        EXPECT_EQ(entries[0].function, "SomeSeq_copy");
        EXPECT_EQ(entries[0].messageTemplate, line.messageTemplate->name);
        EXPECT_EQ(entries[0].text, line.text);
    }
}

TEST_F(SequenceSupport, the_folder_of_the_file_is_not_shown)
{
    for (const char *file : {"a/b/Some.hpp", "Some.hpp"}) {
        const LogCapture log;
        ZYLSequenceSupport_log(ZYL_SEQUENCE_FAILURE, file, 55, "SomeSeq_copy", "what", 0, 0);
        ASSERT_EQ(log.entries().size(), 1U);
        EXPECT_EQ(log.entries()[0].file, "Some.hpp");
        EXPECT_EQ(log.entries()[0].line, 55);
    }
}

}  // namespace
