// In the place of the slab allocator's functions: the program's own definitions come first.

#include "support/AllocationRecorder.h"

#include <TolSlab/Slab.h>

using Quorvel::Core::Test::AllocationRecorder;
using Allocator = AllocationRecorder::Allocator;

void* TolSlab::slabAlloc(std::size_t size)
{
   return AllocationRecorder::instance().allocate(Allocator::slab, size);
}

void* TolSlab::slabAlloc(TypeInfo const& type)
{
   return slabAlloc(type.size);
}

void TolSlab::slabFree(void* object, TypeInfo const& type) noexcept
{
   AllocationRecorder::instance().free(Allocator::slab, object, type.size);
}

void* TolSlab::slabAllocOrStdMalloc(std::size_t size)
{
   return AllocationRecorder::instance().allocate(Allocator::slabOrMalloc, size);
}

void TolSlab::slabFreeOrStdFree(void* object, std::size_t size) noexcept
{
   AllocationRecorder::instance().free(Allocator::slabOrMalloc, object, size);
}
