#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pinmem_lib {

/// What is known of one piece of memory, apart from its texts. It is a *region*, which has files of its own (a block, or
/// an *arena* that holds packed blocks), or a packed block.
struct Block {
   static constexpr std::uint32_t extentMax = 96;
   static constexpr std::uint32_t noArena = 0xffffffff;

   std::uint32_t slot;            ///< number of its record in the index; names a region's file
   std::uint32_t generation;      ///< 1 for the first memory under this name, one more each time it was made anew
   std::uint32_t flags;           ///< as it was first asked for; an arena's are 0
   std::uint32_t backend;         ///< a BackendKind
   std::uint64_t size;            ///< in bytes, as first asked for
   std::uint64_t capacity;        ///< in bytes, what there is
   std::uint64_t addressBus;      ///< bus address or token; never 0
   std::uint64_t device;          ///< a region's file: its device
   std::uint64_t inode;           ///< a region's file; 0: the memory is gone, only name and bus address are kept
   std::int64_t timeCreated;      ///< seconds since 1970
   std::uint32_t uid;             ///< user that made it
   std::uint32_t arena;           ///< slot of the arena that holds it; `noArena` for a region
   std::uint32_t arenaGeneration; ///< the arena's when the block was put there; another one: the memory is gone
   std::int32_t node;             ///< NUMA node that was asked for; -1: none
   std::uint64_t offset;          ///< in the arena, in bytes
   std::uint64_t pageSize;        ///< of the region's memory, in bytes
   std::uint32_t changeCount;     ///< how often the bus address was found to be another than the recorded one
   std::uint32_t extentCount;     ///< 0: the region's pages are in the order of its file
   /// Else: which pages of the file it is made of, as PageExtent packs them.
   std::array<std::uint32_t, extentMax> extents;

   bool isPacked() const { return arena != noArena; }
};

/// One record of the index file, as it is stored. A record counts only when its commit word and checksum agree; it
/// is written in one piece.
struct Record {
   std::uint64_t commitWord; ///< 0: the slot is free
   std::uint64_t checksum;   ///< of all bytes that follow
   Block block;
   std::array<char, 256> nameBytes;  ///< NUL-terminated; the rest is 0
   std::array<char, 256> ownerBytes; ///< like `nameBytes`
   std::array<char, 8> reserved;     ///< 0

   static constexpr std::size_t textMax = 255;

   /// A whole record with its checksum, its commit word still 0. A longer owner is kept as its first 255 bytes.
   static Record make(Block const& block, std::string_view name, std::string_view owner);

   /// The commit word that makes this record count. It follows from the checksum, so that one left over from an
   /// earlier record of the slot does not fit.
   std::uint64_t expectedCommitWord() const;

   bool isFree() const { return commitWord == 0; }

   /// Arenas have no name; blocks always have one.
   bool isArena() const { return nameBytes[0] == '\0'; }

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
   std::uint64_t changeCount;        ///< one more before each change of a record that is or was there; see Index
   std::uint64_t slotCount;          ///< so many slots the file has, or one more; fewer: it was cut
   std::array<char, 944> reserved;   ///< 0

   static constexpr std::array<char, 8> expectedMagic = {'p', 'i', 'n', 'm', 'e', 'm', 'I', 'x'};
   static constexpr std::uint32_t currentVersion = 2;

   /// A whole header.
   static IndexHeader make(std::string_view bootId, std::uint64_t changeCount = 0, std::uint64_t slotCount = 0);

   std::uint64_t expectedChecksum() const;

   std::string_view bootId() const { return bootIdBytes.data(); }
};

static_assert(sizeof(IndexHeader) == sizeof(Record));

} // namespace pinmem_lib
