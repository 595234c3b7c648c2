// Any bytes as an index: read without harm, refused or not, and never changed by looking. The first byte says how much is
// made to fit: 1: the header's checksum, 2: also those of the records, so that their fields are looked at.
#include "src/Catalog.h"
#include "src/FileDescriptor.h"
#include "src/Index.h"
#include "src/Refusal.h"
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace pinmem_lib;

std::string folder()
{
   static std::string const path = [] {
      std::string text = "/dev/shm/pinmem-test-XXXXXX";
      if (::mkdtemp(text.data()) == nullptr) {
         std::abort();
      }
      static std::string const removed = text;
      std::atexit([] {
         ::unlink((removed + "/index").c_str());
         ::rmdir(removed.c_str());
      });
      return text;
   }();
   return path;
}

void mend(std::vector<char>& bytes, int much)
{
   if (much >= 1 && bytes.size() >= sizeof(IndexHeader)) {
      IndexHeader header = {};
      std::memcpy(&header, bytes.data(), sizeof(header));
      header.magic = IndexHeader::expectedMagic;
      header.version = IndexHeader::currentVersion;
      header.recordSize = sizeof(Record);
      header.checksum = header.expectedChecksum();
      std::memcpy(bytes.data(), &header, sizeof(header));
   }
   for (std::size_t slot = 0; much >= 2 && (slot + 2) * sizeof(Record) <= bytes.size(); ++slot) {
      Record record = {};
      char* const place = bytes.data() + (slot + 1) * sizeof(Record);
      std::memcpy(&record, place, sizeof(record));
      record.block.slot = static_cast<std::uint32_t>(slot);
      record.nameBytes.back() = record.ownerBytes.back() = '\0';
      record = Record::make(record.block, record.name(), record.owner());
      record.commitWord = record.expectedCommitWord();
      std::memcpy(place, &record, sizeof(record));
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
   if (size < 2) {
      return 0;
   }
   std::vector<char> bytes(data + 1, data + size);
   mend(bytes, data[0] % 3);
   FileDescriptor const file(::open((folder() + "/index").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
   if (::pwrite(file.number(), bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
      std::abort();
   }
   try {
      Index index = Index::open(Directory::open(folder(), Directory::Trust::guarded));
      Catalog catalog;
      index.refresh([&] { catalog.forget(); }, [&](Record const& record) { catalog.add(record); });
      catalog.settle();
      for (Entry& entry : catalog.entries()) {
         if (catalog.regionOf(entry) == nullptr && catalog.contradictions().count(entry.block.slot) == 0) {
            std::abort(); // a block without memory must be noted
         }
      }
      Block like = {};
      like.capacity = 64;
      like.arena = Block::noArena;
      if (auto const place = catalog.placeFor(like, [](Entry&) { return true; })) {
         if (!place->arena->space.take(place->offset, like.capacity)) {
            std::abort();
         }
      }
   } catch (Refusal const&) {
      // in words for a person
   }
   std::vector<char> after(bytes.size() + 1);
   if (
      ::pread(file.number(), after.data(), after.size(), 0) != static_cast<ssize_t>(bytes.size()) ||
      std::memcmp(after.data(), bytes.data(), bytes.size()) != 0) {
      std::abort();
   }
   return 0;
}
