#include "src/BlockFlags.h"
#include "src/Domain.h"
#include "src/LastError.h"
#include "src/Refusal.h"
#include "src/Settings.h"
#include "src/SystemCalls.h"
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <pinmem/pinmem.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

using namespace pinmem_lib;

/// What the process keeps; made at the first call and never destroyed.
struct Process {
   Settings const settings = Settings::fromEnvironment();
   std::mutex mutex;
   std::atomic<Domain*> domain = nullptr;
   bool const isBackendThere = settings.backend == "auto" || settings.backend == "shm" || settings.backend == "hugetlb";
   std::atomic<bool> isNoticeDue = settings.backend == "auto";
};

Process& process()
{
   static auto* const instance = new Process;
   return *instance;
}

Domain& domainOf(Process& current)
{
   if (Domain* const open = current.domain.load(std::memory_order_acquire); open != nullptr) {
      return *open;
   }
   std::lock_guard const guard(current.mutex);
   if (current.domain.load(std::memory_order_relaxed) == nullptr) {
      current.domain.store(Domain::open(current.settings).release(), std::memory_order_release);
   }
   return *current.domain.load(std::memory_order_relaxed);
}

std::string_view checkedName(char const* name)
{
   if (name == nullptr) {
      refuse("no name is given (null pointer); a block's name has 1 to 255 bytes");
   }
   std::string_view const text = name;
   if (text.empty()) {
      refuse("the name is empty; a block's name has 1 to 255 bytes");
   }
   if (text.size() > Record::textMax) {
      refuse("the name has ", text.size(), " bytes; a block's name has 1 to 255 bytes");
   }
   return text;
}

void checkFlags(std::uint32_t flags)
{
   if (flags != BlockFlags::dmaFrugal && flags != BlockFlags::ordinary && flags != BlockFlags::dmaRoomy) {
      refuse("flags=", flags, " is not known; use 0 or 4 (DMA memory) or 1 (ordinary memory)");
   }
}

void giveNotice(Process& current)
{
   if (current.isNoticeDue.exchange(false)) {
      std::string const text =
         "pinmem: domain '" + printable(current.settings.domain) +
         "': DMA memory is simulated: blocks live in shared memory and no device can reach their bus addresses "
         "(bit 63 set); PINMEM_BACKEND=shm says that this is meant, 'pinmemctl doctor' why it is so\n";
      systemCalls.write(STDERR_FILENO, text.data(), text.size());
   }
}

/// Runs one call; keeps the reason when it is refused and returns nothing then.
template <typename Call>
auto answer(char const* name, Call const& call) -> decltype(call())
{
   try {
      try {
         return call();
      } catch (Refusal const& refusal) {
         constexpr std::size_t shown = Record::textMax;
         std::string_view const whole = name == nullptr ? "" : name;
         lastErrorIs(
            "pinmem: '" + printable(whole.substr(0, shown)) + (whole.size() > shown ? "...'" : "'") + ": " +
            refusal.what());
      }
   } catch (std::bad_alloc const&) {
      lastErrorIs("pinmem: '': this process has no memory left for pinmem's own tables");
   }
   return decltype(call())();
}

} // namespace

std::uint64_t pinmem_alloc_func(char const* name, std::uint32_t size, char const* owner, std::uint32_t flags)
{
   return answer(name, [&] {
      std::string_view const checked = checkedName(name);
      checkFlags(flags);
      Process& current = process();
      if (!current.isBackendThere) {
         checkBackendOf(current.settings, flags);
      }
      std::uint64_t const addressBus = domainOf(current).allocate(checked, size, owner == nullptr ? "" : owner, flags);
      constexpr std::uint64_t simulatedBit = std::uint64_t{1} << 63;
      if (
         flags != BlockFlags::ordinary && (addressBus & simulatedBit) != 0 &&
         current.isNoticeDue.load(std::memory_order_relaxed)) {
         giveNotice(current);
      }
      return addressBus;
   });
}

std::uint64_t pinmem_map(char const* name, int mode, std::uint64_t reserved1, std::uint64_t reserved2)
{
   return answer(name, [&] {
      std::string_view const checked = checkedName(name);
      if (mode != 1 || reserved1 != 0 || reserved2 != 0) {
         refuse(
            "pinmem_map(name, ", mode, ", ", reserved1, ", ", reserved2,
            ") has no meaning; pass 1, 0, 0 to map all of it");
      }
      return domainOf(process()).map(checked);
   });
}

void pinmem_unmap(char const* name, std::uint64_t virtualAddress, int)
{
   answer(name, [&] {
      std::string_view const checked = checkedName(name);
      Domain* const domain = process().domain.load(std::memory_order_acquire);
      if (domain == nullptr) {
         refuse("nothing is mapped in this process; call pinmem_map before pinmem_unmap");
      }
      domain->unmap(checked, virtualAddress);
   });
}

char const* pinmem_last_error(void)
{
   return lastError();
}
