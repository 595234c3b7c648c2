// What named blocks in huge pages cost, each against the bare system calls that such a block needs. Skipped where there are
// no huge pages; as root: scripts/with-huge-pages 256 build/release/bin/pinmem-bench --benchmark_filter=huge
#include "src/Domain.h"
#include "src/DomainRemoval.h"
#include "src/Refusal.h"
#include "test/support/TemporaryDirectory.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace pinmem_lib;

constexpr std::uint64_t page = HugetlbBackend::pageSize;

/// How many blocks of a size are made: few pages, since a pool is small.
std::int64_t countOf(std::uint32_t size)
{
   return size == page ? 50 : 1000;
}

/// Says why there is nothing to measure, if so.
bool isSkipped(benchmark::State& state, std::int64_t pages)
{
   std::vector<Backends::Finding> const findings = Backends::findingsWithoutDomain();
   std::vector<std::string> const& obstacles = findings[1].obstacles;
   std::string const reason = !obstacles.empty() ? obstacles.front()
                              : static_cast<std::int64_t>(HugePagePool::read("/sys/kernel", page).available()) < pages
                                 ? join(pages, " free huge pages are needed")
                                 : "";
   if (!reason.empty()) {
      state.SkipWithError(reason.c_str());
   }
   return !reason.empty();
}

std::string mountPath()
{
   for (HugetlbMount const& mount : HugetlbMount::all("/proc/self/mountinfo")) {
      if (mount.pageSize == page) {
         return mount.path;
      }
   }
   return "";
}

/// A domain of a backend; removed at the end.
class BenchDomain {
public:
   explicit BenchDomain(char const* backend)
   {
      settings_.directory = place_.path();
      settings_.backend = backend;
   }

   BenchDomain(BenchDomain const&) = delete;

   ~BenchDomain() { removeDomain(settings_); }

   std::unique_ptr<Domain> open() const { return Domain::open(settings_); }

   std::int64_t indexSize() const
   {
      struct stat status = {};
      ::stat((place_ / "default/index").c_str(), &status);
      return status.st_size;
   }

private:
   pinmem_test::TemporaryDirectory const place_;
   Settings settings_;
};

/// A file of one huge page, mapped and touched, whose frame number has been read: what a block in huge pages needs at least.
class BarePage {
public:
   BarePage(std::string const& path, int flags)
   {
      int const file = ::open(path.c_str(), O_RDWR | O_CLOEXEC | flags, 0600);
      if ((flags & O_CREAT) != 0) {
         benchmark::DoNotOptimize(::fallocate(file, 0, 0, page));
      }
      address_ = ::mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
      ::close(file);
      benchmark::DoNotOptimize(*static_cast<char const volatile*>(address_));
      int const map = ::open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
      std::uint64_t entry = 0;
      auto const offset = reinterpret_cast<std::uintptr_t>(address_) / 4096 * sizeof(entry);
      benchmark::DoNotOptimize(::pread(map, &entry, sizeof(entry), static_cast<off_t>(offset)));
      ::close(map);
   }

   BarePage(BarePage const&) = delete;

   ~BarePage() { ::munmap(address_, page); }

   void* address() const { return address_; }

private:
   void* address_;
};

void hugeCreateOwnFloor(benchmark::State& state)
{
   if (isSkipped(state, countOf(page))) {
      return;
   }
   std::string const mount = mountPath() + "/bench";
   std::vector<std::unique_ptr<BarePage>> pages;
   for (auto _ : state) {
      pages.push_back(std::make_unique<BarePage>(mount + std::to_string(pages.size()), O_CREAT | O_EXCL));
   }
   for (std::size_t number = 0; number < pages.size(); ++number) {
      ::unlink((mount + std::to_string(number)).c_str());
   }
}

/// A packed block: its share of a page, and clearing it.
template <std::uint32_t size>
void hugeCreatePackedFloor(benchmark::State& state)
{
   if (isSkipped(state, countOf(size) * size / static_cast<std::int64_t>(page) + 1)) {
      return;
   }
   std::string const mount = mountPath() + "/bench";
   std::vector<std::unique_ptr<BarePage>> pages;
   std::uint64_t offset = page;
   for (auto _ : state) {
      if (offset == page) {
         pages.push_back(std::make_unique<BarePage>(mount + std::to_string(pages.size()), O_CREAT | O_EXCL));
         offset = 0;
      }
      std::fill_n(static_cast<char*>(pages.back()->address()) + offset, size, '\0');
      benchmark::ClobberMemory();
      offset += size;
   }
   for (std::size_t number = 0; number < pages.size(); ++number) {
      ::unlink((mount + std::to_string(number)).c_str());
   }
}

template <std::uint32_t size>
void hugeCreate(benchmark::State& state)
{
   if (isSkipped(state, countOf(size) * size / static_cast<std::int64_t>(page) + 1)) {
      return;
   }
   BenchDomain const place("hugetlb");
   auto const domain = place.open();
   std::int64_t number = 0;
   for (auto _ : state) {
      std::string const name = std::to_string(number++);
      benchmark::DoNotOptimize(domain->allocate(name, size, "bench", 4));
      benchmark::DoNotOptimize(domain->map(name));
   }
}

BENCHMARK(hugeCreateOwnFloor)->Iterations(countOf(page));
BENCHMARK(hugeCreate<page>)->Name("hugeCreateOwn")->Iterations(countOf(page));
BENCHMARK(hugeCreatePackedFloor<64 << 10>)->Iterations(countOf(64 << 10));
BENCHMARK(hugeCreate<64 << 10>)->Name("hugeCreatePacked<64 << 10>")->Iterations(countOf(64 << 10));
BENCHMARK(hugeCreatePackedFloor<4 << 10>)->Iterations(countOf(4 << 10));
BENCHMARK(hugeCreate<4 << 10>)->Name("hugeCreatePacked<4 << 10>")->Iterations(countOf(4 << 10));

/// Another process comes to a page that is there.
void hugeAttachFloor(benchmark::State& state)
{
   if (isSkipped(state, 1)) {
      return;
   }
   std::string const path = mountPath() + "/bench";
   BarePage const made(path, O_CREAT | O_EXCL);
   for (auto _ : state) {
      BarePage const again(path, 0);
   }
   ::unlink(path.c_str());
}

/// A process that knows the name maps it, which reads its bus address anew, and lets it go.
void hugeAttach(benchmark::State& state)
{
   if (isSkipped(state, 1)) {
      return;
   }
   BenchDomain const place("hugetlb");
   auto const domain = place.open();
   domain->allocate("block", page, "bench", 4);
   for (auto _ : state) {
      domain->unmap("block", domain->map("block"));
   }
}

BENCHMARK(hugeAttachFloor);
BENCHMARK(hugeAttach);

/// 10 000 small blocks of mixed sizes: memory and index in proportion to what was asked for.
void packing(benchmark::State& state, char const* backend)
{
   constexpr int count = 10000;
   if (backend == std::string_view("hugetlb") && isSkipped(state, 30)) {
      return;
   }
   for (auto _ : state) {
      BenchDomain const place(backend);
      auto const domain = place.open();
      double wanted = 0;
      for (int number = 0; number < count; ++number) {
         std::uint32_t const size = 64U << number % 9; // 64 bytes to 16 KiB
         domain->allocate("queue." + std::to_string(number), size, "bench", 0);
         wanted += size;
      }
      double used = 0;
      for (Record const& arena : domain->arenas()) {
         used += static_cast<double>(arena.block.capacity);
      }
      state.counters["bytesUsedPerByteWanted"] = used / wanted;
      state.counters["indexBytesPerBlock"] = static_cast<double>(place.indexSize()) / count;
   }
}

BENCHMARK_CAPTURE(packing, shm, "shm")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(packing, hugePages, "hugetlb")->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
