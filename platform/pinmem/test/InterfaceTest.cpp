#include "test/support/TemporaryDirectory.h"
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <pinmem/pinmem.h>
#include <string>

namespace {

/// The library reads its environment once, so that all tests of this program share one domain and choose names apart.
class OneDomain : public testing::Environment {
public:
   void SetUp() override
   {
      place_ = std::make_unique<pinmem_test::TemporaryDirectory>();
      ::setenv("PINMEM_DIR", place_->path().c_str(), 1);
      ::setenv("PINMEM_BACKEND", "shm", 1);
      ::unsetenv("PINMEM_DOMAIN");
   }

   void TearDown() override { place_.reset(); }

private:
   std::unique_ptr<pinmem_test::TemporaryDirectory> place_;
};

[[maybe_unused]] auto* const oneDomain = testing::AddGlobalTestEnvironment(new OneDomain);

char* pointerTo(std::uint64_t address)
{
   return reinterpret_cast<char*>(static_cast<std::uintptr_t>(address));
}

} // namespace

TEST(Interface, allocatesMapsAndUnmaps)
{
   std::uint64_t const addressBus = pinmem_alloc_func("whole.life", 4096, "owner", 4);
   ASSERT_NE(addressBus, 0U) << pinmem_last_error();
   std::uint64_t const address = pinmem_map("whole.life", 1, 0, 0);
   ASSERT_NE(address, 0U) << pinmem_last_error();
   std::memset(pointerTo(address), 0x5a, 4096);
   pinmem_unmap("whole.life", address, 0);

   std::uint64_t const again = pinmem_map("whole.life", 1, 0, 0);

   EXPECT_EQ(pointerTo(again)[4095], 0x5a);
   EXPECT_EQ(pinmem_alloc_func("whole.life", 4096, "owner", 4), addressBus);
   EXPECT_NE(address, addressBus);
   pinmem_unmap("whole.life", again, 0);
}

TEST(Interface, aMissingNameIsRefused)
{
   EXPECT_EQ(pinmem_alloc_func(nullptr, 1, "", 0), 0U);
   EXPECT_STREQ(pinmem_last_error(), "pinmem: '': no name is given (null pointer); a block's name has 1 to 255 bytes");
   EXPECT_EQ(pinmem_map(nullptr, 1, 0, 0), 0U);
   pinmem_unmap(nullptr, 0, 0);
}

TEST(Interface, anEmptyNameIsRefused)
{
   EXPECT_EQ(pinmem_alloc_func("", 1, "", 0), 0U);
   EXPECT_STREQ(pinmem_last_error(), "pinmem: '': the name is empty; a block's name has 1 to 255 bytes");
}

TEST(Interface, theLongestNameIsWholeAndALongerOneIsRefused)
{
   std::string const longest(255, 'n');

   EXPECT_NE(pinmem_alloc_func(longest.c_str(), 1, "", 0), 0U);
   EXPECT_EQ(pinmem_alloc_func((longest + "n").c_str(), 1, "", 0), 0U);
   EXPECT_EQ(
      std::string(pinmem_last_error()),
      "pinmem: '" + longest + "...': the name has 256 bytes; a block's name has 1 to 255 bytes");
}

TEST(Interface, aMissingOwnerIsEmpty)
{
   EXPECT_NE(pinmem_alloc_func("no.owner", 1, nullptr, 0), 0U);
}

TEST(Interface, otherFlagsAreRefused)
{
   for (std::uint32_t const flags : {2U, 3U, 5U, 6U, 8U, 0x80000000U}) {
      EXPECT_EQ(pinmem_alloc_func("flags", 1, "", flags), 0U);
      EXPECT_EQ(
         std::string(pinmem_last_error()), "pinmem: 'flags': flags=" + std::to_string(flags) +
                                              " is not known; use 0 or 4 (DMA memory) or 1 (ordinary memory)");
   }
   EXPECT_EQ(pinmem_map("flags", 1, 0, 0), 0U);
}

TEST(Interface, otherWaysOfMappingAreRefused)
{
   pinmem_alloc_func("ways", 1, "", 0);

   EXPECT_EQ(pinmem_map("ways", 0, 0, 0), 0U);
   EXPECT_STREQ(
      pinmem_last_error(), "pinmem: 'ways': pinmem_map(name, 0, 0, 0) has no meaning; pass 1, 0, 0 to map all of it");
   EXPECT_EQ(pinmem_map("ways", 1, 4096, 0), 0U);
   EXPECT_EQ(pinmem_map("ways", 1, 0, 1), 0U);
}

TEST(Interface, unmappingWhatIsNotMappedIsHarmless)
{
   pinmem_alloc_func("unmapped", 1, "", 0);

   pinmem_unmap("unmapped", 4096, 0);

   EXPECT_STREQ(
      pinmem_last_error(),
      "pinmem: 'unmapped': this block is not mapped in this process; each pinmem_map wants one pinmem_unmap");
}

TEST(Interface, aSuccessLeavesTheLastErrorAlone)
{
   pinmem_alloc_func("", 1, "", 0);
   std::string const text = pinmem_last_error();

   ASSERT_NE(pinmem_alloc_func("success", 1, "", 0), 0U);

   EXPECT_EQ(pinmem_last_error(), text);
}

TEST(Interface, messagesAreOneLineWhateverTheName)
{
   EXPECT_EQ(pinmem_map("two\nlines\x1b", 1, 0, 0), 0U);

   EXPECT_EQ(std::string(pinmem_last_error()).rfind("pinmem: 'two\\x0alines\\x1b': there is no block", 0), 0U);
}

TEST(Interface, theLargestSizeArrivesUncut)
{
   pinmem_alloc_func("largest", 1, "", 0);

   EXPECT_EQ(pinmem_alloc_func("largest", 0xffffffff, "", 0), 0U);
   EXPECT_STREQ(
      pinmem_last_error(),
      "pinmem: 'largest': 4294967295 bytes are asked for, but the block was made with 1 bytes and has room for 64; "
      "ask for no more, or use another name");
}
