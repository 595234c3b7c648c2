#include "src/Record.h"
#include <algorithm>
#include <cstring>

namespace pinmem_lib {

namespace {

/// Multiply and fold, eight bytes at a step: finds damage, does not resist forgery.
std::uint64_t checksumOf(void const* first, std::size_t size)
{
   std::uint64_t sum = 0x9e3779b97f4a7c15U;
   auto const* const bytes = static_cast<char const*>(first);
   for (std::size_t offset = 0; offset < size; offset += sizeof(std::uint64_t)) {
      std::uint64_t word = 0;
      std::memcpy(&word, bytes + offset, sizeof(word));
      sum = (sum ^ word) * 0xff51afd7ed558ccdU;
      sum ^= sum >> 32;
   }
   return sum;
}

std::uint64_t checksumAfter(void const* object, std::size_t offset, std::size_t size)
{
   return checksumOf(static_cast<char const*>(object) + offset, size - offset);
}

constexpr std::size_t recordChecked = offsetof(Record, block);
constexpr std::size_t headerChecked = offsetof(IndexHeader, version);

} // namespace

Record Record::make(Block const& block, std::string_view name, std::string_view owner)
{
   Record record = {};
   record.block = block;
   name.copy(record.nameBytes.data(), textMax);
   owner.copy(record.ownerBytes.data(), textMax);
   record.checksum = checksumAfter(&record, recordChecked, sizeof(record));
   return record;
}

std::uint64_t Record::expectedCommitWord() const
{
   return checksum ^ 0x636f6d6d69747465U;
}

bool Record::isIntact(std::uint32_t slot) const
{
   return !isFree() && commitWord == expectedCommitWord() && block.slot == slot &&
          checksum == checksumAfter(this, recordChecked, sizeof(*this));
}

IndexHeader IndexHeader::make(std::string_view bootId, std::uint64_t changeCount, std::uint64_t slotCount)
{
   IndexHeader header = {};
   header.magic = expectedMagic;
   header.version = currentVersion;
   header.recordSize = sizeof(Record);
   bootId.copy(header.bootIdBytes.data(), header.bootIdBytes.size() - 1);
   header.changeCount = changeCount;
   header.slotCount = slotCount;
   header.checksum = header.expectedChecksum();
   return header;
}

std::uint64_t IndexHeader::expectedChecksum() const
{
   return checksumAfter(this, headerChecked, sizeof(*this));
}

} // namespace pinmem_lib
