// In the place of the standard library's `operator new` and `operator delete`, whose other forms call these; but for those
// of classes that ask for more alignment.

#include "support/AllocationRecorder.h"

#include <new>

using Quorvel::Core::Test::AllocationRecorder;
using Allocator = AllocationRecorder::Allocator;

void* operator new(std::size_t size)
{
   return AllocationRecorder::instance().allocate(Allocator::heap, size);
}

void operator delete(void* object) noexcept
{
   AllocationRecorder::instance().free(Allocator::heap, object);
}

void operator delete(void* object, std::size_t /*size*/) noexcept
{
   AllocationRecorder::instance().free(Allocator::heap, object);
}
