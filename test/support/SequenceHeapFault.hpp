/// @file
/// The heap of a program that runs the sequence interpreter: while it lives, the interpreter decides when there is no
/// memory.
#ifndef SEQUENCE_HEAP_FAULT_HPP
#define SEQUENCE_HEAP_FAULT_HPP

// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
#include "SequenceInterpreter.hpp"
#include "doubles/Doubles.hpp"

class SequenceHeapFault {
public:
    SequenceHeapFault()
    {
        const char *const allocation = "ZYLOsapiHeap_reallocateMemoryInternal";
        _doubles.on(allocation).unnoted();
        _doubles.on(allocation).when([] { return sequenceHeapIsOutOfMemory; }).failFrom(1);
    }

private:
    Doubles _doubles;
};

#endif
