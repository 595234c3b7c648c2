#include "ctl/List.h"
#include "src/DomainRemoval.h"
#include "src/Refusal.h"
#include <CLI/CLI.hpp>
#include <iostream>

namespace {

using namespace pinmem_lib;

/// What a script can tell from the exit status.
enum Exit : int { done = 0, refused = 1, wrongUsage = 2, notThere = 3, inUse = 4 };

constexpr char footer[] = "Exit status: 0 done; 1 refused, the reason is on standard error; 2 wrong usage; "
                          "3 there is no such domain; 4 the domain is in use.\n";

void complain(Settings const& settings, std::string const& text)
{
   std::cerr << "pinmemctl: domain '" << printable(settings.domain) << "': " << text << '\n';
}

int complainNotThere(Settings const& settings)
{
   complain(settings, "there is no such domain; it is made by the first process that allocates a block");
   return Exit::notThere;
}

int list(Settings const& settings, bool isJson)
{
   std::unique_ptr<Domain> const domain = Domain::open(settings, {}, Directory::Missing::leave);
   if (domain == nullptr) {
      return complainNotThere(settings);
   }
   std::vector<Record> const records = domain->records();
   if (isJson) {
      writeJson(std::cout, domain->path(), records);
   } else {
      writeTable(std::cout, records);
   }
   for (std::uint32_t const slot : domain->damaged()) {
      complain(settings, "record " + std::to_string(slot) + " is damaged and left out of the list");
   }
   return std::cout.flush() && domain->damaged().empty() ? Exit::done : Exit::refused;
}

int remove(Settings const& settings)
{
   switch (removeDomain(settings)) {
   case DomainRemoval::notThere:
      return complainNotThere(settings);
   case DomainRemoval::inUse:
      complain(settings, "a process is using it; end its processes first");
      return Exit::inUse;
   case DomainRemoval::removed:
      break;
   }
   return Exit::done;
}

} // namespace

int main(int argumentCount, char** arguments)
{
   Settings settings = Settings::fromEnvironment();
   bool isJson = false;
   CLI::App app("Looks after the memory that pinmem keeps between processes.");
   app.footer(footer);
   app.set_version_flag("--version", "pinmemctl " PINMEM_VERSION);
   app.require_subcommand(1);
   app.fallthrough();
   app.add_option("--domain", settings.domain, "The domain; else PINMEM_DOMAIN, else 'default'");
   app.add_option(
      "--dir", settings.directory, "The folder that holds the domain's; else PINMEM_DIR, else the usual places");
   CLI::App* const listCommand = app.add_subcommand("list", "Show the domain's blocks");
   listCommand->add_flag("--json", isJson, "For scripts, as JSON");
   CLI::App* const removeCommand =
      app.add_subcommand("remove-domain", "Remove the domain with all its blocks; refused while a process uses it");
   try {
      app.parse(argumentCount, arguments);
   } catch (CLI::ParseError const& error) {
      return app.exit(error) == 0 ? Exit::done : Exit::wrongUsage;
   }
   try {
      return removeCommand->parsed() ? remove(settings) : list(settings, isJson);
   } catch (Refusal const& refusal) {
      complain(settings, refusal.what());
      return Exit::refused;
   }
}
