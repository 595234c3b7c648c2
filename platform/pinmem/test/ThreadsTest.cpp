#include "src/Domain.h"
#include "src/LastError.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <functional>
#include <gtest/gtest.h>
#include <pinmem/Manager.h>
#include <set>
#include <thread>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr int threadCount = 4;
constexpr int blockCount = 100;

/// Runs `work(number)` on some threads at once.
void onThreads(std::function<void(int)> const& work)
{
   std::vector<std::thread> threads;
   for (int number = 0; number < threadCount; ++number) {
      threads.emplace_back(work, number);
   }
   for (std::thread& thread : threads) {
      thread.join();
   }
}

class ThreadsTest : public testing::Test {
protected:
   TemporaryDirectory const temporary_;
   std::unique_ptr<Domain> const sut_ = [&] {
      Settings settings;
      settings.directory = temporary_.path();
      return Domain::open(settings);
   }();
};

} // namespace

TEST_F(ThreadsTest, threadsThatMakeTheSameNamesAgree)
{
   std::vector<std::uint64_t> addresses[threadCount];

   onThreads([&](int number) {
      for (int index = 0; index < blockCount; ++index) {
         addresses[number].push_back(sut_->allocate("block" + std::to_string(index), 64, "", 0));
      }
   });

   for (auto const& own : addresses) {
      EXPECT_EQ(own, addresses[0]);
   }
   EXPECT_EQ(std::set<std::uint64_t>(addresses[0].begin(), addresses[0].end()).size(), std::size_t{blockCount});
}

TEST_F(ThreadsTest, threadsThatMakeDifferentNamesNeverShareAnAddress)
{
   onThreads([&](int number) {
      for (int index = 0; index < blockCount; ++index) {
         sut_->allocate(std::to_string(number) + "." + std::to_string(index), 64, "", 0);
      }
   });

   std::set<std::uint64_t> addresses;
   for (Record const& record : sut_->records()) {
      addresses.insert(record.block.addressBus);
   }
   EXPECT_EQ(addresses.size(), std::size_t{threadCount * blockCount});
}

TEST_F(ThreadsTest, mapsOfOneBlockAreCountedExactly)
{
   sut_->allocate("a", 64, "", 0);
   std::uint64_t const address = sut_->map("a");

   onThreads([&](int) {
      for (int round = 0; round < 1000; ++round) {
         EXPECT_EQ(sut_->map("a"), address);
         sut_->unmap("a", address);
      }
   });

   sut_->unmap("a", address);
   EXPECT_NE(refusalOf([&] { sut_->unmap("a", address); }), "");
}

TEST_F(ThreadsTest, blocksAreMappedAndUnmappedAtOnce)
{
   onThreads([&](int number) {
      std::string const name = "block" + std::to_string(number % 2);
      for (int round = 0; round < 200; ++round) {
         sut_->allocate(name, 64, "", 0);
         std::uint64_t const address = sut_->map(name);
         sut_->unmap(name, address);
      }
   });

   EXPECT_EQ(sut_->records().size(), 2U);
}

TEST_F(ThreadsTest, domainsOpenedAtOnceMeet)
{
   onThreads([&](int number) {
      Settings settings;
      settings.directory = temporary_.path();
      settings.domain = "another";
      auto const own = Domain::open(settings);
      for (int index = 0; index < blockCount; ++index) {
         own->allocate(std::to_string(number) + "." + std::to_string(index), 64, "", 0);
      }
   });

   Settings settings;
   settings.directory = temporary_.path();
   settings.domain = "another";
   EXPECT_EQ(Domain::open(settings)->records().size(), std::size_t{threadCount * blockCount});
}

TEST(LastErrorOfThreads, isEachThreadsOwn)
{
   onThreads([](int number) {
      std::string const text = std::to_string(number);
      for (int round = 0; round < 1000; ++round) {
         lastErrorIs(text);
         EXPECT_EQ(lastError(), text);
      }
   });
}

TEST(ManagerOfThreads, isCapturedOnce)
{
   ::setenv("AGENT_PROCESS_NAME", "slice-a", 1);
   char const* names[threadCount] = {};

   onThreads([&](int number) {
      Manager::captureAgentName();
      names[number] = Manager::agentName;
   });

   EXPECT_STREQ(names[0], "slice-a");
   for (char const* const name : names) {
      EXPECT_EQ(name, names[0]);
   }
}
