// What named blocks cost, each against the bare system calls or the bare hash that nobody can do without. Time a call.
#include "src/Domain.h"
#include "test/support/TemporaryDirectory.h"
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <pinmem/pinmem.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unordered_map>

namespace {

using namespace pinmem_lib;

constexpr std::uint32_t blockSize = 4096;
constexpr std::uint32_t attachSize = 1 << 20;

/// How many blocks of a size are made: below the kernel's usual limit of 65530 mappings, and little memory.
std::int64_t createCountOf(std::uint32_t size)
{
   return size >= 1U << 20 ? 100 : 5000;
}

Settings settingsIn(pinmem_test::TemporaryDirectory const& place)
{
   Settings settings;
   settings.directory = place.path();
   settings.backend = "shm"; // also where huge pages are at hand
   return settings;
}

/// Where the C interface of this program keeps its blocks.
class ProcessDomain {
public:
   ProcessDomain()
   {
      ::setenv("PINMEM_DIR", place_.path().c_str(), 1);
      ::setenv("PINMEM_BACKEND", "shm", 1);
   }

private:
   pinmem_test::TemporaryDirectory place_;
};

ProcessDomain const processDomain;

std::vector<std::string> namesOf(std::int64_t count)
{
   std::vector<std::string> names;
   for (std::int64_t index = 0; index < count; ++index) {
      names.push_back("queue." + std::to_string(index) + ".submission");
   }
   return names;
}

/// The bare system calls that a block of this size needs.
template <std::uint32_t size>
void createFloor(benchmark::State& state)
{
   pinmem_test::TemporaryDirectory const place;
   std::int64_t number = 0;
   std::vector<void*> memory;
   memory.reserve(static_cast<std::size_t>(createCountOf(size)));
   for (auto _ : state) {
      std::string const path = place / std::to_string(number++);
      int const file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      benchmark::DoNotOptimize(::fallocate(file, 0, 0, size));
      memory.push_back(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
      ::close(file);
   }
   for (void* const address : memory) {
      ::munmap(address, size);
   }
}

/// Makes and maps a new block.
template <std::uint32_t size>
void create(benchmark::State& state)
{
   pinmem_test::TemporaryDirectory const place;
   auto const domain = Domain::open(settingsIn(place));
   std::int64_t number = 0;
   for (auto _ : state) {
      std::string const name = std::to_string(number++);
      benchmark::DoNotOptimize(domain->allocate(name, size, "bench", 4));
      benchmark::DoNotOptimize(domain->map(name));
   }
   struct stat status = {};
   ::stat((place / "default/index").c_str(), &status);
   state.counters["indexBytesPerBlock"] = static_cast<double>(status.st_size) / static_cast<double>(number);
}

BENCHMARK(createFloor<4 << 10>)->Iterations(createCountOf(4 << 10));
BENCHMARK(create<4 << 10>)->Iterations(createCountOf(4 << 10));
BENCHMARK(createFloor<64 << 10>)->Iterations(createCountOf(64 << 10));
BENCHMARK(create<64 << 10>)->Iterations(createCountOf(64 << 10));
BENCHMARK(createFloor<2 << 20>)->Iterations(createCountOf(2 << 20));
BENCHMARK(create<2 << 20>)->Iterations(createCountOf(2 << 20));

void attachFloor(benchmark::State& state)
{
   pinmem_test::TemporaryDirectory const place;
   std::string const path = place / "block";
   int const made = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
   benchmark::DoNotOptimize(::fallocate(made, 0, 0, attachSize));
   ::close(made);
   for (auto _ : state) {
      int const file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
      void* const memory = ::mmap(nullptr, attachSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
      ::close(file);
      ::munmap(memory, attachSize);
   }
}

BENCHMARK(attachFloor);

/// Mapping a block with memory of its own that the process knows, and unmapping it.
void attach(benchmark::State& state)
{
   pinmem_test::TemporaryDirectory const place;
   auto const domain = Domain::open(settingsIn(place));
   domain->allocate("block", attachSize, "bench", 4);
   for (auto _ : state) {
      domain->unmap("block", domain->map("block"));
   }
}

BENCHMARK(attach);

/// A restarted process: opens a domain of so many blocks, allocates and maps each. Time a restart.
void restart(benchmark::State& state)
{
   pinmem_test::TemporaryDirectory const place;
   std::vector<std::string> const names = namesOf(state.range(0));
   auto const keeper = Domain::open(settingsIn(place));
   for (std::string const& name : names) {
      keeper->allocate(name, blockSize, "bench", 0);
   }
   for (auto _ : state) {
      auto const domain = Domain::open(settingsIn(place));
      for (std::string const& name : names) {
         benchmark::DoNotOptimize(domain->allocate(name, blockSize, "bench", 0));
         benchmark::DoNotOptimize(domain->map(name));
      }
   }
}

BENCHMARK(restart)->Arg(1)->Arg(1000);

/// The same by hand: open, map, close, and unmap each file.
void restartFloor(benchmark::State& state)
{
   pinmem_test::TemporaryDirectory const place;
   std::vector<std::string> paths;
   for (std::string const& name : namesOf(state.range(0))) {
      paths.push_back(place / name);
      int const file = ::open(paths.back().c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      benchmark::DoNotOptimize(::fallocate(file, 0, 0, blockSize));
      ::close(file);
   }
   std::vector<void*> memory(paths.size());
   for (auto _ : state) {
      for (std::size_t index = 0; index < paths.size(); ++index) {
         int const file = ::open(paths[index].c_str(), O_RDWR | O_CLOEXEC);
         memory[index] = ::mmap(nullptr, blockSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
         ::close(file);
      }
      for (void* const address : memory) {
         ::munmap(address, blockSize);
      }
   }
}

BENCHMARK(restartFloor)->Arg(1)->Arg(1000);

void knownNameFloor(benchmark::State& state)
{
   std::vector<std::string> const names = namesOf(state.range(0));
   std::unordered_map<std::string, std::uint64_t> known;
   for (std::string const& name : names) {
      known[name] = known.size();
   }
   std::size_t next = 0;
   for (auto _ : state) {
      benchmark::DoNotOptimize(known.find(names[next])->second);
      next = next + 1 == names.size() ? 0 : next + 1;
   }
}

BENCHMARK(knownNameFloor)->Arg(10)->Arg(1000)->Arg(10000);

/// pinmem_alloc_func of a name that this process knows.
void knownName(benchmark::State& state)
{
   std::vector<std::string> const names = namesOf(state.range(0));
   for (std::string const& name : names) {
      pinmem_alloc_func(name.c_str(), blockSize, "bench", 0);
   }
   std::size_t next = 0;
   for (auto _ : state) {
      benchmark::DoNotOptimize(pinmem_alloc_func(names[next].c_str(), blockSize, "bench", 0));
      next = next + 1 == names.size() ? 0 : next + 1;
   }
}

BENCHMARK(knownName)->Arg(10)->Arg(1000)->Arg(10000);

/// pinmem_map and pinmem_unmap of a block that stays mapped.
void mapAgain(benchmark::State& state)
{
   pinmem_alloc_func("mapped", blockSize, "bench", 0);
   std::uint64_t const address = pinmem_map("mapped", 1, 0, 0);
   for (auto _ : state) {
      benchmark::DoNotOptimize(pinmem_map("mapped", 1, 0, 0));
      pinmem_unmap("mapped", address, 0);
   }
   pinmem_unmap("mapped", address, 0);
}

BENCHMARK(mapAgain);

} // namespace
