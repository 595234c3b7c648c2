#include "src/BootId.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <fstream>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using namespace pinmem_test;

TEST(BootId, isTheSameEachTime)
{
   EXPECT_EQ(bootId().size(), 36U);
   EXPECT_EQ(bootId(), bootId());
}

TEST(BootId, namesTheFileThatCannotBeRead)
{
   EXPECT_EQ(
      refusalOf([] { bootId("/nowhere/boot_id"); }),
      "cannot read '/nowhere/boot_id': No such file or directory; mount /proc");
}

TEST(BootId, refusesAFileThatIsTooShort)
{
   TemporaryDirectory const place;
   std::string const path = place / "boot_id";
   std::ofstream(path) << std::string(35, 'a');

   EXPECT_EQ(
      refusalOf([&] { bootId(path.c_str()); }), "'" + path + "' does not hold a boot id; mount /proc of this kernel");
}
