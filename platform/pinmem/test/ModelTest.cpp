// Several processes at once, against a map in memory: each works on names of its own at random, and all share a domain.
#include "src/BlockFlags.h"
#include "src/Domain.h"
#include "test/support/DomainFixture.h"
#include "test/support/RefusalOf.h"
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <signal.h>
#include <sys/wait.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr unsigned processCount = 4;

/// Steps of each process: as many as QUORVEL_SOAK_ROUNDS says.
int stepsToTake()
{
   char const* const setting = std::getenv("QUORVEL_SOAK_ROUNDS");
   return setting != nullptr ? std::stoi(setting) : 400;
}

/// What one process expects.
class Model {
public:
   Model(unsigned number, std::function<std::unique_ptr<Domain>()> open)
      : number_(number), open_(std::move(open)), random_(number), domain_(open_())
   {}

   /// @return "" while everything is as expected
   std::string step()
   {
      std::string const name = std::to_string(number_) + "." + std::to_string(random_() % 20);
      switch (random_() % 8) {
      case 0:
         domain_ = open_(); // restarts
         return "";
      case 1:
         return free(name);
      default:
         return use(name);
      }
   }

private:
   struct Expected {
      std::uint32_t size;
      std::uint32_t flags;
      std::uint64_t address;
      char byte;
   };

   /// A block to be made: small, or now and then with memory of its own.
   Expected fresh()
   {
      constexpr std::uint32_t kinds[] = {BlockFlags::dmaFrugal, BlockFlags::ordinary, BlockFlags::dmaRoomy};
      auto const size = random_() % 50 == 0 ? 1U << 20 : static_cast<std::uint32_t>(random_() % 9000 + 1);
      return {size, kinds[random_() % std::size(kinds)], 0, '\0'};
   }

   std::string use(std::string const& name)
   {
      auto const known = blocks_.find(name);
      Expected expected = known != blocks_.end() ? known->second : fresh();
      std::uint64_t const address = domain_->allocate(name, expected.size, "model", expected.flags);
      auto* const memory = reinterpret_cast<char*>(static_cast<std::uintptr_t>(domain_->map(name)));
      bool const isAsBefore = std::string_view(memory, expected.size) == std::string(expected.size, expected.byte);
      if (!isAsBefore || (known != blocks_.end() && address != expected.address)) {
         return name + " has other bytes or another address";
      }
      expected.address = address;
      expected.byte = static_cast<char>(random_());
      std::memset(memory, expected.byte, expected.size);
      blocks_[name] = expected;
      domain_->unmap(name, reinterpret_cast<std::uintptr_t>(memory));
      return "";
   }

   std::string free(std::string const& name)
   {
      domain_ = open_(); // so that nobody uses it
      bool const isExpected = blocks_.erase(name) != 0;
      Domain::Freed const freed = domain_->free(name);
      return freed == (isExpected ? Domain::Freed::freed : Domain::Freed::notThere) ? "" : name + " was not freed";
   }

   unsigned number_;
   std::function<std::unique_ptr<Domain>()> open_;
   std::mt19937 random_;
   std::unique_ptr<Domain> domain_;
   std::map<std::string, Expected> blocks_;
};

class ModelTest : public DomainFixture {
protected:
   pid_t start(unsigned number, int steps) const
   {
      pid_t const child = ::fork();
      if (child == 0) {
         std::string text;
         try {
            Model model(number, [this] { return open(); });
            for (int step = 0; step < steps && text.empty(); ++step) {
               text = model.step();
            }
         } catch (std::exception const& error) {
            text = error.what();
         }
         std::fprintf(stderr, "%s%s", text.c_str(), text.empty() ? "" : "\n");
         ::_exit(text.empty() ? 0 : 1);
      }
      return child;
   }

   /// What a dead process has left is whole and nobody's.
   void freeAllOf(unsigned number) const
   {
      auto const domain = open();
      for (Record const& record : domain->records()) {
         if (std::string_view const name = record.name(); name.rfind(std::to_string(number) + ".", 0) == 0) {
            EXPECT_EQ(domain->free(name), Domain::Freed::freed) << name;
         }
      }
   }
};

} // namespace

TEST_F(ModelTest, processesThatAllocateAndFreeAtOnceNeverMeet)
{
   std::vector<pid_t> children;
   for (unsigned number = 0; number < processCount; ++number) {
      children.push_back(start(number, stepsToTake()));
   }
   for (pid_t const child : children) {
      int status = 0;
      ::waitpid(child, &status, 0);
      EXPECT_EQ(status, 0);
   }

   auto const sut = open();
   EXPECT_TRUE(sut->damaged().empty());
   std::vector<Record> const records = sut->records();
   for (std::size_t index = 1; index < records.size(); ++index) {
      expectApart(records[index - 1].block, records[index].block);
   }
   EXPECT_EQ(sut->collect().files, 0U);
}

TEST_F(ModelTest, oneThatIsKilledAtAnyTimeDoesNotHurtTheOthers)
{
   pid_t const steady = start(0, stepsToTake());
   unsigned const rounds = static_cast<unsigned>(stepsToTake()) / 20;
   for (unsigned round = 1; round <= rounds; ++round) {
      std::size_t const before = open()->records().size();
      pid_t const victim = start(round, 1000000);
      while (open()->records().size() < before + 3 && ::waitpid(victim, nullptr, WNOHANG) == 0) {
         // until it is in the midst of its work
      }
      ::kill(victim, SIGKILL);
      ::waitpid(victim, nullptr, 0);
      freeAllOf(round);
   }
   int status = 0;
   ::waitpid(steady, &status, 0);
   EXPECT_EQ(status, 0);

   auto const sut = open();
   sut->collect();
   EXPECT_TRUE(sut->damaged().empty());
   EXPECT_EQ(sut->collect().files, 0U);
   EXPECT_NE(sut->allocate("new", 100, "", 0), 0U);
}

TEST_F(ModelTest, processesThatMakeOneNameWithDifferentSizesAtOnceAgreeOnOne)
{
   for (int round = 0; round < 20; ++round) {
      std::string const name = std::to_string(round);
      std::vector<pid_t> children;
      for (std::uint32_t const size : {64U, 4096U, 1U << 20}) {
         children.push_back(::fork());
         if (children.back() == 0) {
            std::string const text = refusalOf([&] { open()->allocate(name, size, "", 4); });
            bool const isConflict =
               text.find(" bytes are asked for, but the block was made with ") != std::string::npos;
            ::_exit(text.empty() || isConflict ? 0 : 1);
         }
      }
      for (pid_t const child : children) {
         int status = 0;
         ::waitpid(child, &status, 0);
         EXPECT_EQ(status, 0);
      }
      EXPECT_EQ(open()->records().size(), static_cast<std::size_t>(round) + 1);
   }
}
