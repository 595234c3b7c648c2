// How plugins come into the process: each one a file of its own, named by what becomes of it.

#include <Plugin/Impl/LoaderImpl.h>

#include "support/LoadingTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <elf.h>

namespace {

using Plugin::Result;
using Plugin::State;
using Plugin::Impl::LoaderImpl;
using Plugin::Test::journal;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ResultOf;

using Loading = Plugin::Test::LoadingTest;

/// A plugin that failed, with this in the reason, whose other words are the system's.
auto failed(std::string const& file, std::string const& partOfReason)
{
   return AllOf(
      Field("file", &Result::file, file), Field("state", &Result::state, State::failed),
      Field(
         "reason", &Result::reason,
         ResultOf([](auto const& text) { return std::string(text); }, HasSubstr(partOfReason))));
}

TEST_F(Loading, opensAPluginAndCallsItsEntryPoint)
{
   auto const file = folder.add("FooPlugin", "PluginWithEntryPoint");

   auto const results = load(folder.path(), "FooPlugin");

   EXPECT_THAT(results, ElementsAre(Result{"FooPlugin", file, State::loaded, ""}));
   EXPECT_EQ(count, 1U);
   EXPECT_THAT(journal(), ElementsAre("PluginWithEntryPoint is initialised", "PluginWithEntryPoint is entered"));
}

TEST_F(Loading, takesAPluginWithoutEntryPointAsItIs)
{
   auto const file = folder.add("FooPlugin", "PluginWithoutEntryPoint");

   auto const results = load(folder.path(), "FooPlugin");

   EXPECT_THAT(results, ElementsAre(Result{"FooPlugin", file, State::loaded, ""}));
   EXPECT_THAT(journal(), ElementsAre("PluginWithoutEntryPoint is initialised"));
}

TEST_F(Loading, reportsWhatAnEntryPointThrows)
{
   auto const file = folder.add("FooPlugin", "PluginThatThrows");
   auto const other = folder.add("FooPlugin", "PluginThatThrowsNoException");

   auto const results = load(folder.path(), "FooPlugin");

   EXPECT_THAT(
      results,
      ElementsAre(
         Result{"FooPlugin", file, State::failed, "its entry point has thrown: no device"},
         Result{"FooPlugin", other, State::failed, "its entry point has thrown something that is no std::exception"}));
   EXPECT_EQ(count, 0U);
}

TEST_F(Loading, reportsWhatCannotBeOpenedAndGoesOn)
{
   auto const text = folder.write(
      "FooPlugin", "1-NotALibrary.so",
      "no library, but a text of more bytes than a header has, "
      "which the dynamic loader reads before it judges");
   auto const empty = folder.write("FooPlugin", "2-Empty.so", "");
   auto const cut = folder.add("FooPlugin", "PluginWithEntryPoint", "3-CutOff.so");
   std::filesystem::resize_file(cut, sizeof(Elf64_Ehdr));
   auto const dangling = folder.place("FooPlugin", "4-DanglingLink.so");
   std::filesystem::create_symlink("nowhere", dangling);
   auto const directory = folder.place("FooPlugin", "5-Directory.so");
   std::filesystem::create_directory(directory);
   auto const absent = folder.add("FooPlugin", "PluginWithMissingLibrary", "6.so");
   auto const unresolved = folder.add("FooPlugin", "PluginWithUnresolvedSymbol", "7.so");
   auto const good = folder.add("FooPlugin", "PluginWithEntryPoint", "8.so");

   auto const results = load(folder.path(), "FooPlugin");

   EXPECT_THAT(
      results, ElementsAre(
                  failed(text, "invalid ELF header"), failed(empty, "file too short"), failed(cut, "it is cut off"),
                  failed(dangling, "No such file or directory"), failed(directory, "it is no file"),
                  failed(absent, "libplugin-loader-test-absent.so"), failed(unresolved, "nobodyDefinesThis"),
                  Result{"FooPlugin", good, State::loaded, ""}));
   EXPECT_EQ(count, 1U);
}

/// Changes one byte of a library's header.
void patch(std::string const& file, std::streamoff offset, char value)
{
   std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
   stream.seekp(offset);
   stream.put(value);
}

TEST_F(Loading, reportsPluginsOfOtherMachines)
{
   auto const small = folder.add("FooPlugin", "PluginWithEntryPoint", "32Bits.so");
   patch(small, EI_CLASS, ELFCLASS32);
   auto const other = folder.add("FooPlugin", "PluginWithEntryPoint", "OtherProcessor.so");
   patch(other, offsetof(Elf64_Ehdr, e_machine), EM_SPARC);

   auto const results = load(folder.path(), "FooPlugin");

   EXPECT_THAT(results, ElementsAre(failed(small, "ELFCLASS32"), failed(other, "it is another processor's")));
   EXPECT_THAT(journal(), IsEmpty());
}

TEST_F(Loading, endsTheProcessWhereAStaticInitialiserThrows)
{
   folder.add("FooPlugin", "PluginWhoseInitialiserThrows");

   EXPECT_EXIT(load(folder.path(), "FooPlugin"), testing::KilledBySignal(SIGABRT), "no device");
}

TEST_F(Loading, opensAFileOnce)
{
   auto const file = folder.add("FooPlugin", "PluginWithEntryPoint");
   load(folder.path(), "FooPlugin");

   auto const results = load(folder.path(), "FooPlugin");

   EXPECT_THAT(results, ElementsAre(Result{"FooPlugin", file, State::loadedBefore, ""}));
   EXPECT_EQ(count, 0U);
   EXPECT_EQ(journal().size(), 2U);
}

TEST_F(Loading, opensAFileOfTwoNamesOnce)
{
   auto const file = folder.add("FooPlugin", "PluginWithEntryPoint", "a.so");
   auto const link = folder.place("FooPlugin", "b.so");
   std::filesystem::create_symlink("a.so", link);
   auto const hardLink = folder.place("BarPlugin", "c.so");
   std::filesystem::create_hard_link(file, hardLink);

   EXPECT_THAT(
      load(folder.path(), "FooPlugin"),
      ElementsAre(Result{"FooPlugin", file, State::loaded, ""}, Result{"FooPlugin", link, State::loadedBefore, ""}));
   EXPECT_THAT(load(folder.path(), "BarPlugin"), ElementsAre(Result{"BarPlugin", hardLink, State::loadedBefore, ""}));
}

TEST_F(Loading, doesNotEnterAPluginAgainThatThrew)
{
   auto const file = folder.add("FooPlugin", "PluginThatThrows");
   auto const first = load(folder.path(), "FooPlugin");

   EXPECT_EQ(load(folder.path(), "FooPlugin"), first);
   EXPECT_THAT(first, ElementsAre(failed(file, "no device")));
}

TEST_F(Loading, triesAgainWhatCouldNotBeOpened)
{
   auto const file = folder.write("FooPlugin", "a.so", "no library");
   EXPECT_THAT(load(folder.path(), "FooPlugin"), ElementsAre(failed(file, file)));
   std::filesystem::remove(file);
   folder.add("FooPlugin", "PluginWithEntryPoint", "a.so");

   EXPECT_THAT(load(folder.path(), "FooPlugin"), ElementsAre(Result{"FooPlugin", file, State::loaded, ""}));
}

TEST_F(Loading, reportsAFileThatHasTakenThePlaceOfAPlugin)
{
   auto const file = folder.add("FooPlugin", "PluginWithEntryPoint", "a.so");
   load(folder.path(), "FooPlugin");
   std::filesystem::rename(folder.add("New", "PluginWithoutEntryPoint"), file);

   auto const results = load(folder.path(), "FooPlugin");

   EXPECT_THAT(
      results,
      ElementsAre(Result{"FooPlugin", file, State::failed, "an earlier file is loaded under this path, for good"}));
   EXPECT_EQ(count, 0U);
   EXPECT_THAT(journal(), ElementsAre("PluginWithEntryPoint is initialised", "PluginWithEntryPoint is entered"));
}

TEST_F(Loading, opensUnderAnotherPathWhatHasTakenThePlaceOfAPlugin)
{
   auto const file = folder.add("FooPlugin", "PluginWithEntryPoint", "a.so");
   load(folder.path(), "FooPlugin");
   std::filesystem::rename(folder.add("New", "PluginWithoutEntryPoint"), file);
   load(folder.path(), "FooPlugin");
   auto const other = folder.place("FooPlugin", "b.so");
   std::filesystem::rename(file, other);

   EXPECT_THAT(load(folder.path(), "FooPlugin"), ElementsAre(Result{"FooPlugin", other, State::loaded, ""}));
}

TEST_F(Loading, letsPluginsLoadFamilies)
{
   ::setenv("PLUGIN_PATH", folder.path().c_str(), 1);
   auto const outer = folder.add("OuterPlugin", "PluginThatLoadsFamilies", "a.so");
   auto const last = folder.add("OuterPlugin", "PluginWithoutEntryPoint", "b.so");
   auto const inner = folder.add("InnerPlugin", "PluginWithEntryPoint", "c.so");

   auto const results = load("", "OuterPlugin");

   Result const outerBefore{"OuterPlugin", outer, State::loadedBefore, ""};
   Result const lastBefore{"OuterPlugin", last, State::loadedBefore, ""};
   Result const innerBefore{"InnerPlugin", inner, State::loadedBefore, ""};
   EXPECT_THAT(
      results,
      ElementsAre(
         // its static initialiser
         outerBefore, Result{"OuterPlugin", last, State::loaded, ""}, Result{"InnerPlugin", inner, State::loaded, ""},
         // its entry point
         outerBefore, lastBefore, innerBefore,
         // the call that loaded it
         Result{"OuterPlugin", outer, State::loaded, ""}, lastBefore));
   EXPECT_EQ(count, 1U);
   EXPECT_THAT(
      journal(), ElementsAre(
                    "PluginThatLoadsFamilies is initialised", "PluginWithoutEntryPoint is initialised",
                    "PluginWithEntryPoint is initialised", "PluginWithEntryPoint is entered",
                    "PluginThatLoadsFamilies is entered"));
}

TEST_F(Loading, goesOnWithTheTextsOfTheCallWhenAPluginChangesThem)
{
   Plugin::Test::PluginFolder const second;
   auto const first = folder.add("FooPlugin", "PluginWithEntryPoint", "a.so");
   auto const next = folder.add("FooPlugin", "PluginWithoutEntryPoint", "b.so");
   auto const last = second.add("FooPlugin", "PluginWithoutEntryPoint", "a.so");
   Orvo::String searchPath = folder.path() + ':' + second.path();
   Orvo::String family = "FooPlugin";
   Plugin::Test::whenEntered() = [&] {
      searchPath = "/elsewhere, and longer than a text that is held in place";
      family = "BarPlugin";
   };
   auto const before = Plugin::results().size();

   LoaderImpl::loadPlugins(searchPath, family, "", "", "");

   auto const& results = Plugin::results();
   ASSERT_GE(results.size(), before + 3);
   EXPECT_EQ(results[before], (Result{"FooPlugin", first, State::loaded, ""}));
   EXPECT_EQ(results[before + 1], (Result{"FooPlugin", next, State::loaded, ""}));
   EXPECT_EQ(results[before + 2], (Result{"FooPlugin", last, State::loaded, ""}));
}

std::ptrdiff_t openDescriptors()
{
   return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

TEST_F(Loading, leavesNoDescriptorOpen)
{
   folder.add("FooPlugin", "PluginWithEntryPoint");
   folder.add("FooPlugin", "PluginThatThrows");
   folder.add("FooPlugin", "PluginWithMissingLibrary");
   folder.write("FooPlugin", "NotALibrary.so", "no library");
   std::filesystem::create_directory(folder.place("FooPlugin", "Directory.so"));
   auto const before = openDescriptors();

   load(folder.path() + ":/nowhere:relative", "FooPlugin");
   load(folder.path(), "FooPlugin");

   EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Loading, refusesReservedTexts)
{
   folder.add("FooPlugin", "PluginWithEntryPoint");
   auto const before = Plugin::results();

   for (auto const& [third, fourth, fifth] :
        {std::array{"x", "", ""}, std::array{"", "x", ""}, std::array{"", "", "x"}}) {
      try {
         LoaderImpl::loadPlugins(folder.path(), "FooPlugin", third, fourth, fifth);
         ADD_FAILURE() << "not refused";
      } catch (std::invalid_argument const& refusal) {
         EXPECT_STREQ(refusal.what(), "family='FooPlugin' is asked for with a reserved text.");
      }
   }

   EXPECT_EQ(Plugin::results(), before);
   EXPECT_THAT(journal(), IsEmpty());
}

} // namespace
