#include <Orvo/TextHash.h>

#include <algorithm>
#include <bit>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

using Orvo::textHash;

namespace {

// Fullest of 1024 buckets for 8192 texts, by the given bits: about 24 for random words.
template <class MakeText>
int fullestBucket(MakeText makeText, int shift)
{
   std::vector<int> buckets(1024);
   for (unsigned i = 0; i < 8192; ++i) {
      ++buckets[(textHash(makeText(i)) >> shift) % 1024];
   }
   return *std::max_element(buckets.begin(), buckets.end());
}

} // namespace

TEST(TextHash, isTheSameInEveryProcess)
{
   EXPECT_EQ(textHash(""), 0xa5506ff52926ac13u);
   EXPECT_EQ(textHash("ring"), 0xb23e754fc6290bc8u);
   EXPECT_EQ(textHash("submission-queue-0"), 0x4f162590f13db1e5u);
}

TEST(TextHash, dependsOnEveryCharacterAndOnTheLength)
{
   std::unordered_set<std::uint64_t> seen;
   std::size_t expected = 0;
   for (std::size_t size = 0; size <= 70; ++size) {
      std::string text(size, '\0');
      seen.insert(textHash(text));
      ++expected;
      for (std::size_t i = 0; i < size; ++i) {
         text[i] = 'x';
         seen.insert(textHash(text));
         text[i] = '\0';
         ++expected;
      }
   }

   EXPECT_EQ(seen.size(), expected);
}

TEST(TextHash, readsNothingOutsideTheText)
{
   // In memory of exactly its size, for the address sanitizer to watch.
   for (std::size_t size = 1; size <= 64; ++size) {
      std::vector<char> const text(size, 'a');
      EXPECT_EQ(textHash({text.data(), size}), textHash(std::string(size, 'a'))) << size;
   }
}

TEST(TextHash, spreadsNumberedNamesOverHighAndLowBits)
{
   for (int const shift : {0, 27, 54}) {
      EXPECT_LE(fullestBucket([](unsigned i) { return std::to_string(i); }, shift), 32) << shift;
      EXPECT_LE(fullestBucket([](unsigned i) { return "ring" + std::to_string(i); }, shift), 32) << shift;
      EXPECT_LE(fullestBucket([](unsigned i) { return std::to_string(i) + "/queue"; }, shift), 32) << shift;
      EXPECT_LE(fullestBucket([](unsigned i) { return "/a/zumem/chunk-" + std::to_string(i); }, shift), 32) << shift;
      EXPECT_LE(
         fullestBucket([](unsigned i) { return std::string(30, 'x') + std::to_string(i) + "tail of it"; }, shift), 32)
         << shift;
   }
}

TEST(TextHash, changesAboutHalfItsBitsWithOneBitOfTheText)
{
   for (std::size_t const size : {4u, 8u, 12u, 15u, 16u, 24u, 40u}) {
      std::string text(size, 'a');
      auto const before = textHash(text);
      for (std::size_t i = 0; i < size; ++i) {
         for (int bit = 0; bit < 8; ++bit) {
            text[i] = static_cast<char>(text[i] ^ (1 << bit));
            auto const changedBits = std::popcount(before ^ textHash(text));
            EXPECT_GE(changedBits, 12) << size << " at " << i << ", bit " << bit;
            EXPECT_LE(changedBits, 52) << size << " at " << i << ", bit " << bit;
            text[i] = static_cast<char>(text[i] ^ (1 << bit));
         }
      }
   }
}
