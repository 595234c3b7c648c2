#include "src/Index.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <vector>

namespace pinmem_lib {

namespace {

constexpr char fileName[] = "index";
constexpr char fileNameUnfinished[] = "index.new";
constexpr char cure[] = "; nothing was changed; end the domain's processes and run: pinmemctl remove-domain";

std::uint64_t offsetOf(std::uint32_t slot)
{
   return sizeof(IndexHeader) + std::uint64_t{slot} * sizeof(Record);
}

} // namespace

Index::Index(FileDescriptor file, std::string path)
   : file_(std::move(file)), path_(std::move(path)), what_("index '" + path_ + "'"), identity_(file_.number())
{}

Index Index::open(Directory const& place, Use use)
{
   std::string const path = printable(place.path()) + "/" + fileName;
   bool const isForChange = use == Use::change;
   FileDescriptor file = place.file(fileName, isForChange ? O_RDWR : O_RDONLY | O_NONBLOCK);
   if (!file.isOpen()) {
      refuse(
         "index '", path, "' cannot be opened: ", systemText(errno), "; make it readable ",
         isForChange ? "and writable for this user" : "for this user, by PINMEM_GROUP where its domain is used");
   }
   if (isForChange) {
      place.letGroupRead(file, fileName);
   }
   Index index(std::move(file), path);
   index.header_ = index.headerOfFile();
   return index;
}

Index Index::create(Directory const& place, std::string const& bootId)
{
   systemCalls.unlinkat(place.number(), fileNameUnfinished, 0);
   std::string const path = printable(place.path()) + "/" + fileName;
   FileDescriptor file = place.file(fileNameUnfinished, O_RDWR | O_CREAT | O_EXCL);
   if (!file.isOpen()) {
      refuse("index '", path, "' cannot be made: ", systemText(errno), "; make the directory writable for this user");
   }
   Index index(std::move(file), path);
   index.header_ = IndexHeader::make(bootId);
   index.writeBytes(&index.header_, sizeof(index.header_), 0);
   place.letGroupRead(index.file_, fileNameUnfinished);
   if (systemCalls.renameat(place.number(), fileNameUnfinished, place.number(), fileName) != 0) {
      refuse("index '", index.path_, "' cannot be put in place: ", systemText(errno));
   }
   return index;
}

bool Index::isThere(Directory const& place)
{
   struct stat status = {};
   if (systemCalls.fstatat(place.number(), fileName, &status, AT_SYMLINK_NOFOLLOW) == 0) {
      return true;
   }
   if (errno == ENOENT) {
      return false;
   }
   // Taken for missing, it would be replaced by an empty one.
   refuse("index '", printable(place.path()), "/", fileName, "' cannot be looked for: ", systemText(errno));
}

IndexHeader Index::headerOfFile() const
{
   IndexHeader header = {};
   int attempts = 20; // more than one, since a process that looks without the lock may meet it half-written
   do {
      if (readUpTo(&header, sizeof(header), 0) < sizeof(header)) {
         refuse("index '", path_, "' is damaged: it is too short for its header", cure);
      }
   } while (--attempts > 0 && header.checksum != header.expectedChecksum());
   if (header.magic != IndexHeader::expectedMagic) {
      refuse("index '", path_, "' is damaged: it does not start like an index", cure);
   }
   if (header.checksum != header.expectedChecksum()) {
      refuse("index '", path_, "' is damaged: the checksum of its header does not fit", cure);
   }
   if (header.version != IndexHeader::currentVersion || header.recordSize != sizeof(Record)) {
      refuse(
         "index '", path_, "' has version ", header.version, ", this library reads version ",
         IndexHeader::currentVersion, "; use the libpinmem that made it, or another domain");
   }
   return header;
}

void Index::bootIdIs(std::string const& bootId)
{
   // The header last: killed in between, the next process starts again, and a record that was done stays done.
   announceChange();
   std::uint32_t const end = slotCountOfFile();
   for (std::uint32_t slot = 0; slot < end; ++slot) {
      Record const record = readBytes(slot);
      if (record.isIntact(slot)) {
         Block block = record.block;
         block.inode = 0;
         writeWhole(Record::make(block, record.name(), record.owner()));
      }
   }
   writeHeader(IndexHeader::make(bootId, header_.changeCount, header_.slotCount));
}

void Index::announceChange()
{
   writeHeader(IndexHeader::make(header_.bootId(), header_.changeCount + 1, header_.slotCount));
}

void Index::writeHeader(IndexHeader const& header)
{
   writeBytes(&header, sizeof(header), 0);
   header_ = header;
}

void Index::refresh(std::function<void()> const& forget, std::function<void(Record const&)> const& found)
{
   std::uint32_t const end = slotCountOfFile();
   IndexHeader const header = headerOfFile();
   if (end < header.slotCount) {
      refuse("index '", path_, "' is damaged: it was cut to ", end, " of ", header.slotCount, " records", cure);
   }
   if (isStale_ || header.changeCount != header_.changeCount || end < slotCount_) {
      forget();
      free_.clear();
      damaged_.clear();
      slotCount_ = 0;
      isStale_ = true; // until all is read
   }
   constexpr std::uint32_t step = 64;
   std::vector<Record> records(std::min(step, end - slotCount_));
   while (slotCount_ < end) {
      std::uint32_t const count = std::min(step, end - slotCount_);
      readBytes(slotCount_, records.data(), count);
      for (std::uint32_t index = 0; index < count; ++index, ++slotCount_) {
         look(slotCount_, records[index], found);
      }
   }
   header_ = header;
   isStale_ = false;
}

void Index::look(std::uint32_t slot, Record const& record, std::function<void(Record const&)> const& found)
{
   if (record.isFree()) {
      free_.insert(slot);
   } else if (record.isIntact(slot)) {
      found(record);
   } else {
      damaged_.insert(slot);
   }
}

std::optional<Record> Index::read(std::uint32_t slot) const
{
   Record const record = readBytes(slot);
   if (record.isFree()) {
      return std::nullopt;
   }
   if (!record.isIntact(slot)) {
      refuse("record ", slot, " of index '", path_, "' was damaged while it was in use", cure);
   }
   return record;
}

void Index::write(Record const& record)
{
   std::uint32_t const slot = record.block.slot;
   if (slot == slotCount_) {
      writeWhole(record);
      ++slotCount_;
      try {
         writeHeader(IndexHeader::make(header_.bootId(), header_.changeCount, slotCount_));
      } catch (...) {
         // The record is there; the next one makes good for the count.
      }
      return;
   }
   // The others look for new records only at the end.
   announceChange();
   writeWhole(record);
   free_.erase(slot);
}

void Index::clear(std::uint32_t slot)
{
   announceChange();
   std::uint64_t const commitWord = 0;
   writeBytes(&commitWord, sizeof(commitWord), offsetOf(slot));
   free_.insert(slot);
}

void Index::writeWhole(Record record)
{
   record.commitWord = record.expectedCommitWord();
   writeBytes(&record, sizeof(record), offsetOf(record.block.slot));
}

void Index::writeBytes(void const* bytes, std::size_t size, std::uint64_t offset)
{
   // In one piece, commit word and all: source and destination each lie in one page, and the kernel lets a process die,
   // or a file system cut a write short, only between pages.
   alignas(sizeof(Record)) std::array<char, sizeof(Record)> piece;
   std::memcpy(piece.data(), bytes, size);
   for (std::size_t done = 0; done < size;) {
      auto const place = static_cast<off_t>(offset + done);
      ssize_t const written = systemCalls.pwrite(file_.number(), piece.data() + done, size - done, place);
      if (written <= 0) {
         refuse(
            "index '", path_, "' cannot be written: ", systemText(written < 0 ? errno : ENOSPC),
            "; free memory in its file system");
      }
      done += static_cast<std::size_t>(written);
   }
}

Record Index::readBytes(std::uint32_t slot) const
{
   Record record = {};
   readBytes(slot, &record, 1);
   return record;
}

void Index::readBytes(std::uint32_t slot, Record* records, std::uint32_t count) const
{
   std::size_t const size = count * sizeof(Record);
   std::size_t const got = readUpTo(records, size, offsetOf(slot));
   std::memset(reinterpret_cast<char*>(records) + got, 0, size - got);
}

std::size_t Index::readUpTo(void* bytes, std::size_t size, std::uint64_t offset) const
{
   std::size_t done = 0;
   // A read may stop before a page that cannot be had: the rest is not free, it is not known.
   for (ssize_t got = 1; got != 0 && done < size; done += static_cast<std::size_t>(got)) {
      char* const rest = static_cast<char*>(bytes) + done;
      got = systemCalls.pread(file_.number(), rest, size - done, static_cast<off_t>(offset + done));
      if (got < 0) {
         refuse("index '", path_, "' cannot be read: ", systemText(errno));
      }
   }
   return done;
}

std::uint32_t Index::slotCountOfFile() const
{
   struct stat const status = identity_.check(file_.number(), what_);
   auto const size = static_cast<std::uint64_t>(status.st_size);
   std::uint64_t const records = size > sizeof(IndexHeader) ? size - sizeof(IndexHeader) : 0;
   return static_cast<std::uint32_t>((records + sizeof(Record) - 1) / sizeof(Record));
}

} // namespace pinmem_lib
