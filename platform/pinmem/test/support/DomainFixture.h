#pragma once

#include "src/Domain.h"
#include "test/support/TemporaryDirectory.h"
#include <fstream>
#include <gtest/gtest.h>

namespace pinmem_test {

/// A folder for domains, and ways to open and to spoil them.
class DomainFixture : public testing::Test {
protected:
   TemporaryDirectory const temporary_;

   /// Each call is a process of its own, as far as the domain can tell.
   std::unique_ptr<pinmem_lib::Domain> open(std::string const& name = "default") const
   {
      pinmem_lib::Settings settings;
      settings.directory = temporary_.path();
      settings.domain = name;
      settings.group = group_;
      return pinmem_lib::Domain::open(settings);
   }

   static char* memoryOf(pinmem_lib::Domain& domain, std::string_view name)
   {
      return reinterpret_cast<char*>(static_cast<std::uintptr_t>(domain.map(name)));
   }

   /// PINMEM_GROUP.
   std::string group_;

   std::string const control_ = temporary_ / "default";
   std::string const index_ = control_ + "/index";

   /// Changes one byte of the index.
   void spoilIndex(std::uint64_t offset) const
   {
      std::fstream file(index_, std::ios::in | std::ios::out | std::ios::binary);
      file.seekp(static_cast<std::streamoff>(offset));
      file.put('\x7e');
   }
};

/// Two blocks whose ranges of bus addresses do not meet.
inline void expectApart(pinmem_lib::Block const& one, pinmem_lib::Block const& other)
{
   EXPECT_TRUE(
      one.addressBus + one.capacity <= other.addressBus || other.addressBus + other.capacity <= one.addressBus);
}

} // namespace pinmem_test
