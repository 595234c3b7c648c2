#pragma once

#include "src/Directory.h"
#include "src/FileIdentity.h"
#include "src/Record.h"
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace pinmem_lib {

/// The index file of a domain: which blocks and arenas there are. Written with pwrite only, never mapped, so that a wild store of
/// a process cannot damage it.
///
/// Threads, processes: the caller holds the domain's lock during every call.
class Index {
public:
   enum class Use {
      change, ///< lets the group read it, if the domain is shared
      look    ///< needs the right to read it only, and no lock; `write` and `clear` are refused
   };

   /// Opens the index of a domain.
   ///
   /// @throws Refusal  when it is not there, cannot be opened, or its header is damaged or of another version;
   ///                  the file is left as it is
   static Index open(Directory const& place, Use use = Use::change);

   /// Makes an empty one where there is none; it appears whole or not at all.
   static Index create(Directory const& place, std::string const& bootId);

   /// @throws Refusal  when the system does not tell
   static bool isThere(Directory const& place);

   /// The boot in which the records' memory was made.
   std::string_view bootId() const { return header_.bootId(); }

   /// Notes that the memory of all records is gone, and that from now on it is made in the boot `bootId`.
   void bootIdIs(std::string const& bootId);

   /// Brings the caller up to date: calls `found` for each record that this object has neither seen nor written. When
   /// records were changed or freed meanwhile, or `readAgain` was called, calls `forget` first and then `found` for all.
   /// @throws Refusal  when the file was removed, or its descriptor closed by somebody else in this process
   void refresh(std::function<void()> const& forget, std::function<void(Record const&)> const& found);

   /// Makes the next `refresh` start from nothing.
   void readAgain() { isStale_ = true; }

   /// Whether it will: `readAgain` was called, or the last `refresh` came to a part of the records and was stopped.
   bool isStale() const { return isStale_; }

   /// One record as it is in the file now; nothing when the slot is free.
   /// @throws Refusal  when it is damaged
   std::optional<Record> read(std::uint32_t slot) const;

   /// The slot that the next new record goes to. Call `refresh` before, without letting the lock go.
   std::uint32_t slotForNew() const { return free_.empty() ? slotCount_ : *free_.begin(); }

   /// Stores a record in its slot. A process that dies in the middle leaves the slot free or the record it had; so does
   /// a refusal.
   /// @throws Refusal  when the file system refuses
   void write(Record const& record);

   /// Frees a slot.
   /// @throws Refusal  when the file system refuses; the record is still there then
   void clear(std::uint32_t slot);

   /// The damaged records seen by `refresh`, each the number of a slot.
   std::set<std::uint32_t> const& damaged() const { return damaged_; }

   std::string const& path() const { return path_; }

private:
   Index(FileDescriptor file, std::string path);

   /// @throws Refusal  when it is damaged or of another version
   IndexHeader headerOfFile() const;
   void writeHeader(IndexHeader const& header);
   /// Tells the other processes that they have to read everything again.
   void announceChange();
   void look(std::uint32_t slot, Record const& record, std::function<void(Record const&)> const& found);
   void writeWhole(Record record);
   void writeBytes(void const* bytes, std::size_t size, std::uint64_t offset);
   /// The slot's bytes; what the file does not have is 0.
   Record readBytes(std::uint32_t slot) const;
   void readBytes(std::uint32_t slot, Record* records, std::uint32_t count) const;
   /// Reads from the file and returns how many bytes there were: fewer only at its end.
   std::size_t readUpTo(void* bytes, std::size_t size, std::uint64_t offset) const;
   /// How many slots the file has; makes sure that it still is the index.
   std::uint32_t slotCountOfFile() const;

   FileDescriptor file_;
   std::string path_;
   std::string what_; ///< for messages
   FileIdentity identity_;
   IndexHeader header_ = {};
   bool isStale_ = false;
   std::uint32_t slotCount_ = 0;
   std::set<std::uint32_t> free_;
   std::set<std::uint32_t> damaged_;
};

} // namespace pinmem_lib
