/// @file
/// Fuzzes the operations of the sequence: every input is read as operations, carried out on real sequences and on a
/// model of them. A difference, a leak or a sanitizer's finding ends the run.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "SequenceHeapFault.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const SequenceHeapFault heap;
    const std::string difference = runSequenceOperations(data, size, true, nullptr);
    if (!difference.empty()) {
        std::fprintf(stderr, "%s", difference.c_str());
        std::abort();
    }
    return 0;
}
