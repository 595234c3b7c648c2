// Every field of an index in use, spoilt in turn: a refusal or the right bytes, never wrong ones.
#include "src/Domain.h"
#include "test/support/DomainFixture.h"
#include "test/support/RefusalOf.h"
#include <cstring>
#include <functional>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

class SpoiltIndexTest : public DomainFixture {
protected:
   SpoiltIndexTest()
   {
      auto const domain = open();
      addressPacked_ = domain->allocate("packed", 100, "owner", 0);
      addressLarge_ = domain->allocate("large", 1 << 20, "owner", 4);
      std::strcpy(memoryOf(*domain, "packed"), "packed bytes");
      std::strcpy(memoryOf(*domain, "large"), "large bytes");
      std::ifstream file(index_, std::ios::binary);
      whole_.assign(std::istreambuf_iterator<char>(file), {});
   }

   void writeIndex(std::string const& bytes) const { std::ofstream(index_, std::ios::binary) << bytes; }

   /// @return whether something was refused
   bool refusesOrIsRight() const
   {
      bool isRefused = false;
      auto const check = [&](char const* name, std::uint32_t size, std::uint64_t address, char const* bytes) {
         std::string const text = refusalOf([&] {
            auto const sut = open();
            EXPECT_EQ(sut->allocate(name, size, "", 0), address);
            EXPECT_STREQ(memoryOf(*sut, name), bytes);
         });
         EXPECT_EQ(text.find('\n'), std::string::npos);
         isRefused = isRefused || !text.empty();
      };
      check("packed", 100, addressPacked_, "packed bytes");
      check("large", 1 << 20, addressLarge_, "large bytes");
      return isRefused;
   }

   std::uint64_t addressPacked_ = 0;
   std::uint64_t addressLarge_ = 0;
   std::string whole_;
};

} // namespace

TEST_F(SpoiltIndexTest, eachByteThatIsInverted)
{
   int refusals = 0;
   for (std::size_t offset = 0; offset < whole_.size(); offset += 3) { // meets every field
      std::string spoilt = whole_;
      spoilt[offset] = static_cast<char>(~spoilt[offset]);
      writeIndex(spoilt);

      refusals += refusesOrIsRight() ? 1 : 0;

      ASSERT_FALSE(HasFailure()) << "byte " << offset;
      std::ifstream file(index_, std::ios::binary);
      ASSERT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), spoilt) << "byte " << offset;
   }
   EXPECT_EQ(refusals, static_cast<int>((whole_.size() + 2) / 3));
}

TEST_F(SpoiltIndexTest, eachLengthThatItIsCutTo)
{
   std::size_t const tail = 512; // of zeros, without which the last record is still whole
   for (std::size_t size = 0; size < whole_.size() - tail; size += 128) {
      writeIndex(whole_.substr(0, size));
      std::string const text = refusalOf([&] { open()->allocate("new", 100, "", 0); });
      EXPECT_NE(text.find("' is damaged: "), std::string::npos) << size << text;
      writeIndex(whole_);
      ASSERT_FALSE(refusesOrIsRight()) << size;
   }
}

TEST_F(SpoiltIndexTest, bytesOfAnotherFileAreRefused)
{
   writeIndex(std::string(whole_.size(), 'x'));

   EXPECT_TRUE(refusesOrIsRight());
}

TEST_F(SpoiltIndexTest, recordsThatAreWholeAndContradictEachOtherAreNoted)
{
   auto const spoil = [&](std::function<void(Block&)> const& change) {
      writeIndex(whole_);
      {
         Index index = Index::open(Directory::open(control_, Directory::Trust::guarded));
         index.refresh([] {}, [](Record const&) {});
         Record const record = *index.read(1);
         Block block = record.block;
         change(block);
         index.write(Record::make(block, record.name(), record.owner()));
      }
      auto const sut = open();
      EXPECT_EQ(sut->damaged(), std::set<std::uint32_t>{1});
      EXPECT_NE(refusalOf([&] { sut->allocate("new", 100, "", 0); }).find("is damaged"), std::string::npos);
   };

   spoil([](Block& block) { block.offset = 2U << 20; });
   spoil([](Block& block) { block.offset = ~std::uint64_t{0} - 63; });
   spoil([](Block& block) { block.capacity = ~std::uint64_t{0}; });
   spoil([](Block& block) { block.arena = 2; });
   spoil([](Block& block) { block.arena = 77; });
}
