#include "support/FailingNew.h"

#include <cstdlib>
#include <new>

namespace Quorvel::Core::Test {
namespace {

std::size_t untilFirst = 0;
std::size_t toFail = 0;
std::size_t failed = 0;

} // namespace

FailingNew::FailingNew(std::size_t first, std::size_t count) noexcept
{
   untilFirst = first;
   toFail = count;
   failed = 0;
}

FailingNew::~FailingNew()
{
   toFail = 0;
}

std::size_t FailingNew::failures() noexcept
{
   return failed;
}

} // namespace Quorvel::Core::Test

void* operator new(std::size_t size)
{
   using namespace Quorvel::Core::Test;
   if (toFail > 0 && untilFirst-- == 0) {
      untilFirst = 0;
      --toFail;
      ++failed;
      throw std::bad_alloc();
   }
   if (auto* const storage = std::malloc(size != 0 ? size : 1)) {
      return storage;
   }
   throw std::bad_alloc();
}

void operator delete(void* storage) noexcept
{
   std::free(storage);
}

void operator delete(void* storage, std::size_t) noexcept
{
   std::free(storage);
}
