/// @file
/// What the elements of a sequence hold that nobody has written: zero in a fresh array, and in a reused one what they
/// held. The heap of these tests hands out blocks full of something else.
// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
#include <cstring>

#include "SequenceFixture.hpp"
#include "doubles/Doubles.hpp"

namespace {

template <class Api>
class SequenceFreshElements : public SequenceFixture<Api> {
protected:
    SequenceFreshElements()
    {
        doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").unnoted().after(&SequenceFreshElements::fillBlock);
    }

    static void fillBlock(void **block, std::size_t size, int, int, int, const char *, ZYLOsapiAllocKind, const char *)
    {
        std::memset(*block, 0xAB, size);
    }

    /// Success when places `from` up to `to` of the buffer are all zero, padding included.
    testing::AssertionResult isZero(unsigned from, unsigned to)
    {
        const auto *bytes = reinterpret_cast<const unsigned char *>(this->seq._contiguous_buffer + from);
        for (std::size_t i = 0; i < (to - from) * sizeof(typename Api::Element); ++i)
            if (bytes[i] != 0) return testing::AssertionFailure() << "byte " << i << " is " << int{bytes[i]};
        return testing::AssertionSuccess();
    }

    Doubles doubles;
};
TYPED_TEST_SUITE(SequenceFreshElements, SequenceApis);

TYPED_TEST(SequenceFreshElements, a_first_array_is_zero)
{
    ASSERT_TRUE(TypeParam::set_maximum(&this->seq, 5));
    EXPECT_TRUE(this->isZero(0, 5));
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 3));
    EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, 2), TypeParam::element(0)));
}

TYPED_TEST(SequenceFreshElements, growth_keeps_the_elements_and_is_zero_behind_them)
{
    this->fill(this->seq, 3, 4);
    *(this->seq._contiguous_buffer + 3) = TypeParam::element(4);  // in the old array, behind its elements
    ASSERT_TRUE(TypeParam::set_maximum(&this->seq, 9));
    EXPECT_TRUE(this->holds(this->seq, 3, 9));
    EXPECT_TRUE(this->isZero(3, 9));
}

TYPED_TEST(SequenceFreshElements, shrinking_to_more_than_the_elements_is_zero_behind_them)
{
    this->fill(this->seq, 2, 9);
    ASSERT_TRUE(TypeParam::set_maximum(&this->seq, 4));
    EXPECT_TRUE(this->holds(this->seq, 2, 4));
    EXPECT_TRUE(this->isZero(2, 4));
    ASSERT_TRUE(TypeParam::set_maximum(&this->seq, 1));
    EXPECT_TRUE(this->holds(this->seq, 1, 1));
}

TYPED_TEST(SequenceFreshElements, a_length_that_makes_the_array_grow_adds_zero_elements)
{
    this->fill(this->seq, 2, 2);
    ASSERT_TRUE(TypeParam::set_length(&this->seq, 5));
    EXPECT_TRUE(this->isZero(2, 5));
    ASSERT_TRUE(TypeParam::ensure_length(&this->seq, 6, 8));
    EXPECT_TRUE(this->isZero(2, 8));
}

TYPED_TEST(SequenceFreshElements, a_length_within_the_array_clears_nothing)
{
    this->fill(this->seq, 4, 4);
    ASSERT_TRUE(TypeParam::set_length(&this->seq, 1));
    ASSERT_TRUE(TypeParam::set_length(&this->seq, 4));
    EXPECT_TRUE(this->holds(this->seq, 4, 4));
    ASSERT_TRUE(TypeParam::ensure_length(&this->seq, 0, 4));
    ASSERT_TRUE(TypeParam::ensure_length(&this->seq, 4, 4));
    EXPECT_TRUE(this->holds(this->seq, 4, 4));
    ASSERT_TRUE(TypeParam::set_maximum(&this->seq, 4));  // nothing changes
    EXPECT_TRUE(this->holds(this->seq, 4, 4));
}

TYPED_TEST(SequenceFreshElements, a_copy_is_zero_behind_the_elements_of_its_source)
{
    this->fill(this->other, 2, 6);
    *(this->other._contiguous_buffer + 2) = TypeParam::element(3);
    ASSERT_EQ(TypeParam::copy(&this->seq, &this->other), &this->seq);
    EXPECT_TRUE(this->holds(this->seq, 2, 6));
    EXPECT_TRUE(this->isZero(2, 6));
}

}  // namespace
