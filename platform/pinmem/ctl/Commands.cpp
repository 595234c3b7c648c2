#include "ctl/Commands.h"
#include "ctl/Report.h"
#include "src/BlockFlags.h"
#include "src/DomainRemoval.h"
#include "src/Refusal.h"
#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

namespace pinmem_lib::Commands {

namespace {

/// The domain, if it is there; complains if not.
std::unique_ptr<Domain> openOrComplain(Settings const& settings, Directory::Missing missing = Directory::Missing::leave)
{
   std::unique_ptr<Domain> domain = Domain::open(settings, {}, missing);
   if (domain == nullptr) {
      complain(settings, "there is no such domain; it is made by the first process that allocates a block");
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

Exit complainNoBlock(Settings const& settings, std::string const& name)
{
   complain(settings, "there is no block '" + printable(name) + "'");
   return Exit::notThere;
}

Exit flushed(Exit status)
{
   return std::cout.flush() ? status : Exit::refused;
}

/// One line of a file for `prealloc`.
struct Wanted {
   std::string name;
   std::uint32_t size;
   std::uint32_t flags;
   std::string owner;
};

std::vector<Wanted> wantedIn(std::string const& path)
{
   std::ifstream file(path);
   if (!file) {
      refuse("'", printable(path), "' cannot be read");
   }
   std::vector<Wanted> wanted;
   int number = 0;
   for (std::string line; std::getline(file, line);) {
      ++number;
      std::istringstream words(line.substr(0, line.find('#')));
      Wanted block = {};
      if (!(words >> block.name)) {
         continue;
      }
      std::uint64_t size = 0;
      std::string rest;
      bool const isGood = words >> size >> block.flags && size <= 0xffffffff && block.name.size() <= Record::textMax &&
                          (block.flags == BlockFlags::dmaFrugal || block.flags == BlockFlags::dmaRoomy ||
                           block.flags == BlockFlags::ordinary);
      words >> block.owner;
      if (!isGood || words >> rest) {
         refuse(
            "line ", number, " of '", printable(path),
            "' is not '<name> <size> <flags> [<owner>]', with flags 0, 1 or "
            "4; nothing was made");
      }
      block.size = static_cast<std::uint32_t>(size);
      wanted.push_back(block);
   }
   return wanted;
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
   for (std::uint32_t const slot : domain->damaged()) {
      complain(settings, "record " + std::to_string(slot) + " is damaged and left out of the list");
   }
   return flushed(domain->damaged().empty() ? Exit::done : Exit::refused);
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
      return complainNoBlock(settings, name);
   }
   isJson ? writeBlockJson(std::cout, *found) : writeBlock(std::cout, *found);
   return flushed(Exit::done);
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
   return flushed(faults.empty() ? Exit::done : Exit::refused);
}

Exit free(Settings const& settings, std::string const& name)
{
   std::unique_ptr<Domain> const domain = openOrComplain(settings);
   if (domain == nullptr) {
      return Exit::notThere;
   }
   switch (domain->free(name)) {
   case Domain::Freed::notThere:
      return complainNoBlock(settings, name);
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
   return flushed(Exit::done);
}

Exit prealloc(Settings const& settings, std::string const& path)
{
   std::vector<Wanted> const wanted = wantedIn(path);
   std::unique_ptr<Domain> const domain = openOrComplain(settings, Directory::Missing::create);
   for (Wanted const& block : wanted) {
      try {
         checkBackendOf(settings, block.flags);
         domain->allocate(block.name, block.size, block.owner, block.flags);
      } catch (Refusal const& refusal) {
         refuse("'", printable(block.name), "': ", refusal.what());
      }
   }
   return Exit::done;
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
   std::unique_ptr<Domain> const domain = Domain::open(settings, {}, Directory::Missing::leave);
   std::vector<Backends::Finding> const findings =
      domain != nullptr ? domain->findings() : Backends::findingsWithoutDomain();
   isJson ? writeFindingsJson(std::cout, findings) : writeFindings(std::cout, findings);
   return flushed(Exit::done);
}

} // namespace pinmem_lib::Commands
