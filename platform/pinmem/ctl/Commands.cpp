#include "ctl/Commands.h"
#include "ctl/BlockList.h"
#include "ctl/Report.h"
#include "src/BlockFlags.h"
#include "src/DomainRemoval.h"
#include "src/Refusal.h"
#include <algorithm>
#include <cerrno>
#include <iostream>
#include <map>
#include <set>
#include <unistd.h>

namespace pinmem_lib::Commands {

namespace {

/// Says why the domain cannot be opened: it is not there, or not all of it.
void complainNoDomain(Settings const& settings)
{
   std::optional<DomainPlace> const place =
      DomainPlace::open(settings, {}, Directory::Missing::leave, Directory::Missing::leave);
   if (place && !place->data.entries().empty()) {
      complain(
         settings, join(
                      "'", printable(place->data.path()), "' holds blocks, but '", printable(place->control.path()),
                      "' lacks the file 'lock' or 'index'; put it back, or run: pinmemctl remove-domain"));
      return;
   }
   complain(settings, "there is no such domain; it is made by the first process that allocates a block");
}

/// The domain, if it is there; complains if not.
std::unique_ptr<Domain> openOrComplain(Settings const& settings)
{
   std::unique_ptr<Domain> domain = Domain::open(settings, {}, Directory::Missing::leave);
   if (domain == nullptr) {
      complainNoDomain(settings);
   }
   return domain;
}

std::vector<Listed> listedOf(Domain& domain)
{
   std::vector<Listed> listed;
   std::vector<Record> const records = domain.records();
   std::vector<std::uint32_t> slots;
   slots.reserve(records.size());
   for (Record const& record : records) {
      slots.push_back(record.block.slot);
   }
   std::vector<std::uint32_t> const users = domain.userCounts(slots);
   for (std::size_t index = 0; index < records.size(); ++index) {
      listed.push_back({records[index], users[index]});
   }
   return listed;
}

/// Says which records cannot be read, and what that means for the command.
Exit complainDamaged(Settings const& settings, Domain& domain, char const* consequence)
{
   for (std::uint32_t const slot : domain.damaged()) {
      complain(settings, join("record ", slot, " is damaged", consequence));
   }
   return domain.damaged().empty() ? Exit::done : Exit::refused;
}

Exit complainNoBlock(Settings const& settings, Domain& domain, std::string const& name)
{
   complain(settings, join("there is no block '", printable(name), "'; see: pinmemctl list"));
   complainDamaged(settings, domain, " and may be this block's; run: pinmemctl check");
   return Exit::notThere;
}

Exit flushed(Settings const& settings, Exit status)
{
   if (std::cout.flush()) {
      return status;
   }
   complain(settings, join("the answer cannot be written: ", systemText(errno), "; see where standard output goes"));
   return Exit::refused;
}

/// The generations of the domain's blocks by their names.
std::map<std::string, std::uint32_t> generationsOf(Domain& domain)
{
   std::map<std::string, std::uint32_t> generations;
   for (Record const& record : domain.records()) {
      generations[std::string(record.name())] = record.block.generation;
   }
   return generations;
}

/// Says that no device can reach blocks that were meant for one.
void complainSimulated(Settings const& settings, Domain& domain, std::vector<ListedWish> const& wishes)
{
   std::set<std::string> wanted;
   for (ListedWish const& wish : wishes) {
      wanted.insert(wish.flags == BlockFlags::ordinary ? "" : wish.name);
   }
   std::vector<Record> const records = domain.records();
   auto const count = std::count_if(records.begin(), records.end(), [&](Record const& record) {
      return record.block.backend == static_cast<std::uint32_t>(BackendKind::shm) &&
             wanted.count(std::string(record.name())) != 0;
   });
   if (count != 0 && settings.backend == "auto") {
      complain(
         settings,
         join(
            count, " of the blocks have simulated bus addresses, which no device can reach; PINMEM_BACKEND=shm "
                   "says that this is meant, 'pinmemctl doctor' why it is so"));
   }
}

/// Why no domain can be made; "" when one can, or is there.
/// @throws Refusal  when the domain is there, and this user can make no block in it
std::string placeObstacle(Settings const& settings)
{
   std::optional<DomainPlace> const place =
      DomainPlace::open(settings, {}, Directory::Missing::leave, Directory::Missing::leave);
   if (place && place->isForeign) {
      refuse("the domain belongs to another user, and may only be looked at; run this as that user");
   }
   if (place) {
      return "";
   }
   std::string const folder = settings.directory.value_or("/dev/shm");
   std::string const own = folder + "/pinmem-" + std::to_string(::geteuid());
   return ::access(own.c_str(), W_OK | X_OK) == 0 || ::access(folder.c_str(), W_OK | X_OK) == 0
             ? ""
             : join(
                  "no domain can be made in '", printable(folder), "': ", systemText(errno),
                  "; make it writable for this user, or name another place with PINMEM_DIR");
}

} // namespace

void complain(Settings const& settings, std::string const& text)
{
   std::cerr << "pinmemctl: domain '" << printable(settings.domain) << "': " << text << '\n';
}

Exit list(Settings const& settings, bool isJson)
{
   std::unique_ptr<Domain> const domain = openOrComplain(settings);
   if (domain == nullptr) {
      return Exit::notThere;
   }
   std::vector<Listed> const blocks = listedOf(*domain);
   isJson ? writeJson(std::cout, domain->path(), blocks) : writeTable(std::cout, blocks);
   return flushed(settings, complainDamaged(settings, *domain, " and left out of the list; run: pinmemctl check"));
}

Exit show(Settings const& settings, std::string const& name, bool isJson)
{
   std::unique_ptr<Domain> const domain = openOrComplain(settings);
   if (domain == nullptr) {
      return Exit::notThere;
   }
   std::vector<Listed> const blocks = listedOf(*domain);
   auto const found =
      std::find_if(blocks.begin(), blocks.end(), [&](Listed const& block) { return block.record.name() == name; });
   if (found == blocks.end()) {
      return complainNoBlock(settings, *domain, name);
   }
   isJson ? writeBlockJson(std::cout, *found) : writeBlock(std::cout, *found);
   return flushed(settings, Exit::done);
}

Exit check(Settings const& settings)
{
   std::unique_ptr<Domain> const domain = openOrComplain(settings);
   if (domain == nullptr) {
      return Exit::notThere;
   }
   std::vector<std::string> const faults = domain->faults();
   for (std::string const& fault : faults) {
      complain(settings, fault);
   }
   std::cout << domain->records().size() << " blocks and " << domain->arenas().size() << " arenas looked at, "
             << faults.size() << " faults\n";
   return flushed(settings, faults.empty() ? Exit::done : Exit::refused);
}

Exit free(Settings const& settings, std::string const& name)
{
   std::unique_ptr<Domain> const domain = openOrComplain(settings);
   if (domain == nullptr) {
      return Exit::notThere;
   }
   switch (domain->free(name)) {
   case Domain::Freed::notThere:
      return complainNoBlock(settings, *domain, name);
   case Domain::Freed::inUse:
      complain(settings, "a process is using the block '" + printable(name) + "'; end it first");
      return Exit::inUse;
   case Domain::Freed::freed:
      break;
   }
   return Exit::done;
}

Exit gc(Settings const& settings)
{
   std::unique_ptr<Domain> const domain = openOrComplain(settings);
   if (domain == nullptr) {
      return Exit::notThere;
   }
   Collected const collected = domain->collect();
   std::cout << "removed " << collected.files << " files without a record, " << collected.bytes << " bytes, and "
             << collected.arenas << " empty arenas\n";
   return flushed(
      settings, complainDamaged(settings, *domain, ", so that what may be its memory stays; run: pinmemctl check"));
}

Exit prealloc(Settings const& settings, std::string const& path)
{
   std::vector<ListedWish> const wishes = readBlockList(path);
   for (ListedWish const& wish : wishes) {
      checkBackendOf(settings, wish.flags);
   }
   std::unique_ptr<Domain> const domain = Domain::open(settings);
   std::map<std::string, std::uint32_t> const before = generationsOf(*domain);
   std::size_t done = 0;
   std::string obstacle;
   try {
      for (ListedWish const& wish : wishes) {
         domain->allocate(wish.name, wish.size, wish.owner, wish.flags);
         ++done;
      }
   } catch (Refusal const& refusal) {
      ListedWish const& wish = wishes[done];
      obstacle =
         join("line ", wish.line, " of '", printable(path), "', block '", printable(wish.name), "': ", refusal.what());
   }
   std::map<std::string, std::uint32_t> const after = generationsOf(*domain);
   auto const fresh = std::count_if(after.begin(), after.end(), [&](auto const& block) {
      auto const known = before.find(block.first);
      return known == before.end() || known->second != block.second;
   });
   std::cout << done << " of " << wishes.size() << " blocks are there, " << fresh << " of them new\n";
   complainSimulated(settings, *domain, wishes);
   if (!obstacle.empty()) {
      complain(settings, obstacle);
   }
   return flushed(settings, obstacle.empty() ? Exit::done : Exit::refused);
}

Exit removeDomain(Settings const& settings)
{
   switch (pinmem_lib::removeDomain(settings)) {
   case DomainRemoval::notThere:
      complain(settings, "there is no such domain; it is made by the first process that allocates a block");
      return Exit::notThere;
   case DomainRemoval::inUse:
      complain(settings, "a process is using it; end its processes first");
      return Exit::inUse;
   case DomainRemoval::removed:
      break;
   }
   return Exit::done;
}

Exit doctor(Settings const& settings, bool isJson)
{
   checkBackendOf(settings, BlockFlags::ordinary); // `iommu` is answered below
   Diagnosis diagnosis = {settings.backend, "", {}};
   std::unique_ptr<Domain> domain;
   try {
      diagnosis.domainObstacle = placeObstacle(settings);
      domain = Domain::open(settings, {}, Directory::Missing::leave);
   } catch (Refusal const& refusal) {
      diagnosis.domainObstacle = refusal.what();
   }
   diagnosis.findings = domain != nullptr ? domain->findings() : Backends::findingsWithoutDomain();
   isJson ? writeDiagnosisJson(std::cout, diagnosis) : writeDiagnosis(std::cout, diagnosis);
   return flushed(settings, diagnosis.taken().empty() ? Exit::refused : Exit::done);
}

} // namespace pinmem_lib::Commands
