#include "PluginFile.h"

#include "support/Journal.h"
#include "support/PluginFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <dlfcn.h>
#include <elf.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Plugin::Detail::callEntryPoint;
using Plugin::Detail::inspect;
using Plugin::Test::journal;
using Plugin::Test::PluginFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PluginFile : public testing::Test {
protected:
   PluginFile() { journal().clear(); }

   static void* openWell(std::string const& path)
   {
      std::string reason;
      auto* const library = Plugin::Detail::open(path, reason);
      EXPECT_NE(library, nullptr) << reason;
      EXPECT_EQ(reason, "");
      return library;
   }

   PluginFolder folder;
};

TEST_F(PluginFile, inspectTellsDeviceAndInodeOfAPlugin)
{
   auto const path = folder.add("Plugin", "PluginWithEntryPoint");

   struct stat status {};

   ASSERT_EQ(::stat(path.c_str(), &status), 0);

   auto const sut = inspect(path);

   EXPECT_EQ(sut.reason, "");
   EXPECT_EQ(sut.device, status.st_dev);
   EXPECT_EQ(sut.inode, status.st_ino);
   EXPECT_THAT(journal(), IsEmpty());
}

TEST_F(PluginFile, inspectLeavesWhatIsNoLibraryToTheDynamicLoader)
{
   EXPECT_EQ(
      inspect(folder.write(
                 "Plugin", "NotALibrary.so",
                 "a text that is longer than a header of an ELF file, "
                 "so that there is something to compare."))
         .reason,
      "");
   EXPECT_EQ(inspect(folder.write("Plugin", "Empty.so", "")).reason, "");
}

TEST_F(PluginFile, inspectRefusesWhatIsNotThere)
{
   auto const link = folder.place("Plugin", "Link.so");
   std::filesystem::create_symlink("nowhere", link);

   EXPECT_EQ(inspect(link).reason, "No such file or directory");
}

TEST_F(PluginFile, inspectRefusesWhatIsNoFile)
{
   auto const directory = folder.place("Plugin/Directory.so", "");
   auto const pipe = folder.place("Plugin", "Pipe.so");
   ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);

   EXPECT_EQ(inspect(directory).reason, "it is no file");
   EXPECT_EQ(inspect(pipe).reason, "it is no file");
}

TEST_F(PluginFile, inspectRefusesWhatItMayNotRead)
{
   auto const path = folder.add("Plugin", "PluginWithEntryPoint");
   std::filesystem::permissions(path, std::filesystem::perms::none);
   if (::access(path.c_str(), R_OK) == 0) {
      GTEST_SKIP() << "this user may read everything";
   }

   EXPECT_EQ(inspect(path).reason, "Permission denied");
}

/// @return the size up to which a library's segments reach
std::uintmax_t sizeNeeded(std::string const& path)
{
   std::ifstream file(path, std::ios::binary);
   Elf64_Ehdr header;
   file.read(reinterpret_cast<char*>(&header), sizeof header);
   std::uintmax_t end = 0;
   for (int i = 0; i < header.e_phnum; ++i) {
      Elf64_Phdr segment;
      file.read(reinterpret_cast<char*>(&segment), sizeof segment);
      if (segment.p_type == PT_LOAD) {
         end = std::max<std::uintmax_t>(end, segment.p_offset + segment.p_filesz);
      }
   }
   return end;
}

TEST_F(PluginFile, inspectRefusesALibraryThatIsCutOff)
{
   auto const path = folder.add("Plugin", "PluginWithEntryPoint");
   auto const needed = sizeNeeded(path);
   ASSERT_GT(needed, sizeof(Elf64_Ehdr));

   std::filesystem::resize_file(path, needed);
   EXPECT_EQ(inspect(path).reason, "");
   std::filesystem::resize_file(path, needed - 1);
   EXPECT_EQ(inspect(path).reason, "it is cut off");
   std::filesystem::resize_file(path, sizeof(Elf64_Ehdr)); // without the table of segments
   EXPECT_EQ(inspect(path).reason, "it is cut off");
}

TEST_F(PluginFile, inspectRefusesAnotherProcessorsLibrary)
{
   auto const path = folder.add("Plugin", "PluginWithEntryPoint");
   std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
   file.seekp(offsetof(Elf64_Ehdr, e_machine));
   Elf64_Half const machine = EM_AARCH64;
   file.write(reinterpret_cast<char const*>(&machine), sizeof machine);
   file.close();

   EXPECT_EQ(inspect(path).reason, "it is another processor's");
   std::filesystem::resize_file(path, sizeof(Elf64_Ehdr));
   EXPECT_EQ(inspect(path).reason, "it is another processor's");
   std::filesystem::resize_file(path, sizeof(Elf64_Ehdr) - 1); // a library no more
   EXPECT_EQ(inspect(path).reason, "");
}

TEST_F(PluginFile, inspectRefusesSegmentsThatNoFileCouldHold)
{
   auto const path = folder.add("Plugin", "PluginWithEntryPoint");
   std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
   file.seekp(sizeof(Elf64_Ehdr) + offsetof(Elf64_Phdr, p_filesz)); // of the first segment
   auto const size = ~std::uint64_t{0};
   file.write(reinterpret_cast<char const*>(&size), sizeof size);
   file.close();

   EXPECT_EQ(inspect(path).reason, "it is cut off");
}

TEST_F(PluginFile, openRunsInitialisersAndKeepsSymbolsToThePlugin)
{
   auto const path = folder.add("Plugin", "PluginWithEntryPoint");

   auto* const library = openWell(path);

   EXPECT_THAT(journal(), ElementsAre("PluginWithEntryPoint is initialised"));
   EXPECT_NE(::dlsym(library, "onlyOfPluginWithEntryPoint"), nullptr);
   EXPECT_EQ(::dlsym(RTLD_DEFAULT, "onlyOfPluginWithEntryPoint"), nullptr);
}

TEST_F(PluginFile, openKeepsThePluginThatIsClosed)
{
   auto const path = folder.add("Plugin", "PluginWithEntryPoint");

   ::dlclose(openWell(path));

   EXPECT_NE(::dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST_F(PluginFile, openSaysWhatTheDynamicLoaderSays)
{
   auto const path = folder.write("Plugin", "NotALibrary.so", "no library");
   std::string reason;

   EXPECT_EQ(Plugin::Detail::open(path, reason), nullptr);

   EXPECT_THAT(reason, HasSubstr(path));
}

TEST_F(PluginFile, openEndsTheProcessWhereAnInitialiserThrows)
{
   auto const path = folder.add("Plugin", "PluginWhoseInitialiserThrows");
   std::string reason;

   EXPECT_EXIT(
      {
         try {
            Plugin::Detail::open(path, reason);
         } catch (...) {
            ::_exit(0);
         }
      },
      testing::KilledBySignal(SIGABRT), "no device");
}

TEST_F(PluginFile, callEntryPointCallsItOnce)
{
   auto* const library = openWell(folder.add("Plugin", "PluginWithEntryPoint"));

   EXPECT_EQ(callEntryPoint(library), "");

   EXPECT_THAT(journal(), ElementsAre("PluginWithEntryPoint is initialised", "PluginWithEntryPoint is entered"));
}

TEST_F(PluginFile, callEntryPointCallsNoneOfALibraryThatThePluginNeeds)
{
   auto* const library = openWell(folder.add("Plugin", "PluginWithoutEntryPoint"));
   ASSERT_NE(::dlsym(library, "pluginMain"), nullptr);

   EXPECT_EQ(callEntryPoint(library), "");

   EXPECT_THAT(journal(), ElementsAre("PluginWithoutEntryPoint is initialised"));
}

TEST_F(PluginFile, callEntryPointLetsThePluginEndTheThread)
{
   auto* const library = openWell(folder.add("Plugin", "PluginThatEndsItsThread"));
   pthread_t thread;

   auto const run = [](void* plugin) -> void* {
      callEntryPoint(plugin);
      return nullptr;
   };
   ASSERT_EQ(::pthread_create(&thread, nullptr, run, library), 0);
   void* result = nullptr;
   ASSERT_EQ(::pthread_join(thread, &result), 0);

   EXPECT_NE(result, nullptr);
}

TEST_F(PluginFile, callEntryPointTellsWhatItHasThrown)
{
   EXPECT_EQ(
      callEntryPoint(openWell(folder.add("Plugin", "PluginThatThrows"))), "its entry point has thrown: no device");
   EXPECT_EQ(
      callEntryPoint(openWell(folder.add("Plugin", "PluginThatThrowsNoException"))),
      "its entry point has thrown something that is no std::exception");
}

} // namespace
