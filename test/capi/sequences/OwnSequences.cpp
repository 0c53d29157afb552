/// @file
/// A program that defines sequences of its own element types, of C and of C++, with nothing but the public headers and
/// the library. It ends with 0 when they do what sequences do, the library's log and heap included.
#include <dds_c/dds_c_log.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <dds_c/generic/dds_c_sequence_TSeq.hpp>
#include <string>

#include "Point.h"

DDS_SEQUENCE_DEFINE(PointSeq, Point);

/// No type of C: a base, private parts, no default constructor, a field that cannot be assigned.
class Tag {
public:
    explicit Tag(int value) : _value(value) {}
    int value() const { return _value; }

private:
    const int _value;
};
class Named : public Tag {
public:
    Named(int value, char name) : Tag(value), _name(name) {}
    char name() const { return _name; }

private:
    char _name;
};
DDS_SEQUENCE(NamedSeq, Named);
DDS_SEQUENCE_DEFINE(NamedSeq, Named);

enum class Color : unsigned char { none, red, blue = 200 };
DDS_SEQUENCE(ColorSeq, Color);
DDS_SEQUENCE_DEFINE(ColorSeq, Color);

using Triple = std::array<long double, 3>;
DDS_SEQUENCE(TripleSeq, Triple);
DDS_SEQUENCE_DEFINE(TripleSeq, Triple);

DDS_SEQUENCE(TextSeq, const char *);
DDS_SEQUENCE_DEFINE(TextSeq, const char *);

namespace {

int failures = 0;

void check(bool isTrue, const char *what, int line)
{
    if (isTrue) return;
    std::fprintf(stderr, "line %d: failed: %s\n", line, what);
    ++failures;
}
#define CHECK(condition_) check(condition_, #condition_, __LINE__)

void useTypesOfCxx()
{
    const Named given[] = {Named(1, 'a'), Named(2, 'b'), Named(3, 'c')};
    NamedSeq named = DDS_SEQUENCE_INITIALIZER;
    CHECK(NamedSeq_from_array(&named, given, 3));
    CHECK(NamedSeq_set_maximum(&named, 8));
    CHECK(NamedSeq_get(&named, 2).value() == 3 && NamedSeq_get_reference(&named, 1)->name() == 'b');
    const Named *lent[] = {&given[2], &given[0]};
    NamedSeq backwards = DDS_SEQUENCE_INITIALIZER;
    CHECK(NamedSeq_loan_discontiguous(&backwards, const_cast<Named **>(lent), 2, 2));
    CHECK(NamedSeq_copy(&named, &backwards) == &named && NamedSeq_get(&named, 0).value() == 3);
    CHECK(NamedSeq_unloan(&backwards) && NamedSeq_finalize(&named));

    ColorSeq colors = DDS_SEQUENCE_INITIALIZER;
    CHECK(ColorSeq_set_length(&colors, 2) && ColorSeq_get(&colors, 1) == Color::none);
    *ColorSeq_get_reference(&colors, 1) = Color::blue;
    CHECK(ColorSeq_get(&colors, 1) == Color::blue && ColorSeq_finalize(&colors));

    TripleSeq triples = DDS_SEQUENCE_INITIALIZER;
    CHECK(TripleSeq_ensure_length(&triples, 1, 5));
    CHECK(reinterpret_cast<std::uintptr_t>(TripleSeq_get_reference(&triples, 0)) % alignof(Triple) == 0);
    (*TripleSeq_get_reference(&triples, 0))[2] = 2.5L;
    CHECK(TripleSeq_get(&triples, 0)[2] == 2.5L && TripleSeq_finalize(&triples));

    const char *const words[] = {"leader", "follower"};
    TextSeq texts = DDS_SEQUENCE_INITIALIZER;
    CHECK(TextSeq_from_array(&texts, words, 2) && std::strcmp(TextSeq_get(&texts, 1), "follower") == 0);
    CHECK(TextSeq_finalize(&texts));
}

void collect(void *lines, const ZYLLogRecord *record)
{
    *static_cast<std::string *>(lines) += std::string(record->function) + ": " + record->text + "\n";
}

void useTheLog()
{
    std::string lines;
    NamedSeq named = DDS_SEQUENCE_INITIALIZER;
    ZYLLog_setSink(collect, &lines);
    CHECK(NamedSeq_get_reference(&named, 0) == nullptr);
    CHECK(NamedSeq_get(&named, 7).value() == 0);  // there is no element 0 either
    CHECK(!NamedSeq_set_maximum(&named, 0x7FFFFFFF));
    CHECK(!NamedSeq_ensure_length(&named, 5, 3));
    DDSLog_g_submoduleMask = ~DDS_SUBMODULE_MASK_SEQUENCE;
    CHECK(!NamedSeq_set_maximum(&named, -1));
    DDSLog_g_submoduleMask = 0xFFFFFFFFU;
    ZYLLog_setSink(nullptr, nullptr);
    CHECK(lines ==
          "NamedSeq_get_reference: !assert: index out of bounds\n"
          "NamedSeq_get: !assert: index out of bounds\n"
          "NamedSeq_set_maximum: !allocate 2147483647 bytes\n"
          "NamedSeq_ensure_length: !insufficient space: have 5, need 3\n");

    // What is no buffer of the library's is left alone.
    alignas(16) unsigned char bytes[256] = {};
    ZYLLog_g_detectPrecondition = 1;
    ZYLLog_setSink([](void *, const ZYLLogRecord *) {}, nullptr);
    NamedSeq_delete_bufferI(&named, reinterpret_cast<Named *>(bytes + 128), 1, DDS_BOOLEAN_TRUE);
    ZYLLog_setSink(nullptr, nullptr);
    CHECK(ZYLLog_g_preconditionDetected == 1);
}

}  // namespace

int main()
{
    const int line = usePointsInC();
    if (line != 0) std::fprintf(stderr, "PointUse.c:%d failed\n", line);
    useTypesOfCxx();
    useTheLog();
    return failures == 0 && line == 0 ? 0 : 1;
}
