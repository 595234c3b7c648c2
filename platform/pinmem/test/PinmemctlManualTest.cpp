// The manual page knows what the program's own help knows, and is set without a warning.
#include "test/support/PinmemctlFixture.h"
#include <iterator>
#include <regex>
#include <set>
#include <unistd.h>

using namespace pinmem_test;

namespace {

class PinmemctlManualTest : public PinmemctlFixture {
protected:
   /// The page as a reader sees it, but for its lay-out.
   static std::string manual()
   {
      std::ifstream file(PINMEMCTL_MANUAL);
      std::string text{std::istreambuf_iterator<char>(file), {}};
      text = std::regex_replace(text, std::regex("\\\\f[BRI]"), "");
      return std::regex_replace(text, std::regex("\\\\-"), "-");
   }

   std::string helpOf(Arguments const& command)
   {
      Arguments arguments = command;
      arguments.emplace_back("--help");
      EXPECT_EQ(ctl(arguments), 0);
      return output_;
   }

   std::set<std::string> commands()
   {
      std::string const help = helpOf({});
      return all(help.substr(help.find("Subcommands:")), "\n  ([a-z-]+) ");
   }

   /// What the pattern's group finds.
   static std::set<std::string> all(std::string const& text, char const* pattern)
   {
      std::set<std::string> found;
      std::regex const expression(pattern);
      for (std::sregex_iterator match(text.begin(), text.end(), expression); match != std::sregex_iterator(); ++match) {
         found.insert((*match)[1]);
      }
      return found;
   }
};

} // namespace

TEST_F(PinmemctlManualTest, namesEveryCommandOptionVariableAndStatusOfTheHelpAndNoOther)
{
   std::string const text = manual();
   std::string help = helpOf({});
   for (std::string const& command : commands()) {
      help += helpOf({command});
   }
   help += "\n --  "; // the mark before names, which every option parser knows

   EXPECT_EQ(
      all(
         text.substr(text.find(".SH COMMANDS"), text.find(".SH OPTIONS") - text.find(".SH COMMANDS")),
         "\n\\.TP\n(?:\\.B )?([a-z-]+)"),
      commands());
   std::string const options =
      text.substr(text.find(".SH OPTIONS"), text.find(".SH ENVIRONMENT") - text.find(".SH OPTIONS"));
   EXPECT_EQ(all(options, "(--[a-z]*)"), all(help, "[ ,](--[a-z]*)"));
   EXPECT_EQ(all(text, "(PINMEM_[A-Z]+)"), all(help, "(PINMEM_[A-Z]+)"));
   EXPECT_EQ(all(text, "\n\\.B ([0-9])\n"), all(help, "[\n ]([0-9]) (?:done|refused|wrong|there|the)"));
   EXPECT_EQ(all(help, "[\n ]([0-9]) (?:done|refused|wrong|there|the)").size(), 5U);
}

TEST_F(PinmemctlManualTest, isSetWithoutAWarning)
{
   if (::access("/usr/bin/groff", X_OK) != 0) {
      GTEST_SKIP() << "there is no groff here";
   }
   environment_["PATH"] = "/usr/bin:/bin";

   EXPECT_EQ(run("/usr/bin/groff", {"-man", "-ww", "-z", "-Tutf8", PINMEMCTL_MANUAL}), 0);
   EXPECT_EQ(errors_, "");
}
