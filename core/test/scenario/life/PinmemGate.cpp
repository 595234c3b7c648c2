#include "scenario/life/PinmemGate.h"

#include "scenario/life/AllocationGate.h"
#include "scenario/life/RealFunction.h"

#include <pinmem/pinmem.h>

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace Quorvel::Core::Test {

PinmemGate& PinmemGate::instance()
{
   static auto* const instance = new PinmemGate;
   return *instance;
}

std::vector<std::string> PinmemGate::stillMapped() const
{
   std::vector<std::string> names;
   for (auto const& [name, mapping] : mapped_) {
      if (mapping.second != 0) {
         names.push_back(name);
      }
   }
   return names;
}

void PinmemGate::writeLastMapped(std::string const& folder)
{
   lastMapped_ = folder + "/mapped";
   writeMapped();
}

void PinmemGate::writeMapped() const
{
   std::string text;
   for (auto const& name : stillMapped()) {
      text += "still mapped: " + name + '\n';
   }
   for (auto const& name : mistakes_) {
      text += "unmapped, but was not mapped: " + name + '\n';
   }
   // No stream, since these come to their end, too.
   int const file = ::open(lastMapped_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
   if (file < 0 || ::write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      std::abort();
   }
   ::close(file);
}

bool PinmemGate::isRefused()
{
   if (toRefusal_ == 0 || --toRefusal_ != 0) {
      return false;
   }
   hasRefused_ = true;
   return true;
}

void PinmemGate::pass()
{
   if (toKill_ != 0 && --toKill_ == 1) {
      std::raise(SIGKILL);
   }
}

std::uint64_t PinmemGate::alloc(char const* name, std::uint32_t size, char const* owner, std::uint32_t flags)
{
   static auto* const real = realFunction<decltype(pinmem_alloc_func)>("pinmem_alloc_func");
   pass();
   auto const address = isRefused() ? 0 : real(name, size, owner, flags);
   pass();
   return address;
}

std::uint64_t PinmemGate::map(char const* name, int mode, std::uint64_t reserved1, std::uint64_t reserved2)
{
   static auto* const real = realFunction<decltype(pinmem_map)>("pinmem_map");
   pass();
   auto const address = isRefused() ? 0 : real(name, mode, reserved1, reserved2);
   if (address != 0) {
      AllocationGate::Open const open;
      auto& [at, count] = mapped_[name];
      at = address;
      ++count;
   }
   pass();
   return address;
}

void PinmemGate::unmap(char const* name, std::uint64_t address, int reserved)
{
   static auto* const real = realFunction<decltype(pinmem_unmap)>("pinmem_unmap");
   pass();
   {
      AllocationGate::Open const open;
      auto const known = mapped_.find(name);
      if (known == mapped_.end() || known->second.second == 0 || known->second.first != address) {
         mistakes_.emplace_back(name);
      } else {
         --known->second.second;
      }
   }
   real(name, address, reserved);
   if (!lastMapped_.empty()) {
      writeMapped();
   }
   pass();
}

} // namespace Quorvel::Core::Test

// In the place of those of the pinned-memory library: the program's own definitions come first.

using Quorvel::Core::Test::PinmemGate;

std::uint64_t pinmem_alloc_func(char const* name, std::uint32_t size, char const* owner, std::uint32_t flags)
{
   return PinmemGate::instance().alloc(name, size, owner, flags);
}

std::uint64_t pinmem_map(char const* name, int mode, std::uint64_t reserved1, std::uint64_t reserved2)
{
   return PinmemGate::instance().map(name, mode, reserved1, reserved2);
}

void pinmem_unmap(char const* name, std::uint64_t virtualAddress, int reserved)
{
   PinmemGate::instance().unmap(name, virtualAddress, reserved);
}
