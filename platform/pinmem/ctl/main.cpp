#include "ctl/Commands.h"
#include "src/Refusal.h"
#include <CLI/CLI.hpp>

namespace {

using namespace pinmem_lib;

constexpr char footer[] =
   "Environment: PINMEM_DOMAIN and PINMEM_DIR, as above; PINMEM_BACKEND, auto, hugetlb or shm, and PINMEM_NODE,\n"
   "n or n!, for memory that prealloc makes; PINMEM_GROUP, whose members may look.\n"
   "Exit status: 0 done; 1 refused, or faults were found; 2 wrong usage; 3 there is no such domain or block;\n"
   "4 the domain or block is in use. Reasons are on standard error. A name that begins with '-' follows '--'.";

} // namespace

int main(int argumentCount, char** arguments)
{
   Settings settings = Settings::fromEnvironment();
   bool isJson = false;
   std::string name;
   std::string path;
   Exit status = Exit::done;
   CLI::App app("Looks after the memory that pinmem keeps between processes.", "pinmemctl");
   app.footer(footer);
   app.set_version_flag("--version", "pinmemctl " PINMEM_VERSION);
   app.failure_message([](CLI::App const*, CLI::Error const& error) {
      return "pinmemctl: " + printable(error.what()) + "; run: pinmemctl --help\n";
   });
   app.require_subcommand(1);
   app.fallthrough();
   app.add_option("--domain", settings.domain, "The domain; else PINMEM_DOMAIN, else 'default'");
   app.add_option(
      "--dir", settings.directory, "The folder that holds the domain's; else PINMEM_DIR, else the usual places");
   auto const add = [&](char const* command, char const* help, auto const& run) {
      CLI::App* const added = app.add_subcommand(command, help);
      added->final_callback([&status, run] { status = run(); });
      return added;
   };
   auto const addJson = [&](CLI::App* command) { command->add_flag("--json", isJson, "For scripts, as JSON"); };
   addJson(add("list", "Show the domain's blocks", [&] { return Commands::list(settings, isJson); }));
   CLI::App* const show =
      add("show", "Show all that is known of one block", [&] { return Commands::show(settings, name, isJson); });
   show->add_option("name", name, "The block")->required();
   addJson(show);
   add("check", "Look for damage; changes nothing", [&] { return Commands::check(settings); });
   add(
      "free", "Free a block and its memory; refused while a process uses it",
      [&] { return Commands::free(settings, name); })
      ->add_option("name", name, "The block")
      ->required();
   add("gc", "Remove what processes left that died while they made a block", [&] { return Commands::gc(settings); });
   add(
      "prealloc", "Make the blocks that a file names, so that agents need no privilege",
      [&] { return Commands::prealloc(settings, path); })
      ->add_option("file", path, "On each line <name> <size>[K|M|G] <flags> [<owner>]")
      ->required();
   add("remove-domain", "Remove the domain with all its blocks; refused while a process uses it", [&] {
      return Commands::removeDomain(settings);
   });
   addJson(add("doctor", "Say which backend new DMA memory gets here, and why; status 1 if none", [&] {
      return Commands::doctor(settings, isJson);
   }));
   try {
      app.parse(argumentCount, arguments);
   } catch (CLI::ParseError const& error) {
      return app.exit(error) == 0 ? Exit::done : Exit::wrongUsage;
   } catch (Refusal const& refusal) {
      Commands::complain(settings, refusal.what());
      return Exit::refused;
   } catch (std::exception const& error) {
      Commands::complain(settings, join("this process cannot go on: ", error.what(), "; give it more memory"));
      return Exit::refused;
   }
   return status;
}
