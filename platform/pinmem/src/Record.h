#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pinmem_lib {

/// What is known of one block, apart from its texts.
struct Block {
   std::uint32_t slot;       ///< number of its record in the index; names its file
   std::uint32_t generation; ///< 1 for the first memory under this name, one more each time the memory was made anew
   std::uint32_t flags;      ///< as it was first asked for
   std::uint32_t backend;    ///< a BackendKind
   std::uint64_t size;       ///< in bytes, as first asked for
   std::uint64_t capacity;   ///< in bytes, what there is
   std::uint64_t addressBus; ///< bus address or token; never 0
   std::uint64_t device;     ///< identity of its file: device and inode
   std::uint64_t inode;      ///< 0: the memory is gone, only the name and the bus address are kept
   std::int64_t timeCreated; ///< seconds since 1970
   std::uint32_t uid;        ///< user that made it
   std::uint32_t reserved;   ///< 0
};

/// One record of the index file, as it is stored. A record counts only when its commit word and checksum agree. In a
/// free slot the commit word is written last; a record that is there is replaced in one piece.
struct Record {
   std::uint64_t commitWord; ///< 0: the slot is free
   std::uint64_t checksum;   ///< of all bytes that follow
   Block block;
   std::array<char, 256> nameBytes;  ///< NUL-terminated; the rest is 0
   std::array<char, 256> ownerBytes; ///< like `nameBytes`
   std::array<char, 424> reserved;   ///< 0

   static constexpr std::size_t textMax = 255;

   /// A whole record with its checksum, its commit word still 0. A longer owner is kept as its first 255 bytes.
   static Record make(Block const& block, std::string_view name, std::string_view owner);

   /// The commit word that makes this record count. It follows from the checksum, so that one left over from an
   /// earlier record of the slot does not fit.
   std::uint64_t expectedCommitWord() const;

   bool isFree() const { return commitWord == 0; }

   /// Whether it can be trusted as the record of that slot; false for a free one.
   bool isIntact(std::uint32_t slot) const;

   std::string_view name() const { return nameBytes.data(); }

   std::string_view owner() const { return ownerBytes.data(); }
};

static_assert(sizeof(Record) == 1024, "a record never crosses a page, so that a write of it is whole or absent");

/// First slot of the index file.
struct IndexHeader {
   std::array<char, 8> magic;
   std::uint64_t checksum; ///< of all bytes that follow
   std::uint32_t version;
   std::uint32_t recordSize;
   std::array<char, 40> bootIdBytes; ///< NUL-terminated
   std::array<char, 960> reserved;   ///< 0

   static constexpr std::array<char, 8> expectedMagic = {'p', 'i', 'n', 'm', 'e', 'm', 'I', 'x'};
   static constexpr std::uint32_t currentVersion = 1;

   /// A whole header.
   static IndexHeader make(std::string_view bootId);

   std::uint64_t expectedChecksum() const;

   std::string_view bootId() const { return bootIdBytes.data(); }
};

static_assert(sizeof(IndexHeader) == sizeof(Record));

} // namespace pinmem_lib
