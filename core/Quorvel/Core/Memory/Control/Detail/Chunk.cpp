#include <Quorvel/Core/Memory/Control/Detail/Chunk.h>

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Orvo/Util/SmallMemorySystem.h>
#include <Quorvel/Utility/Affirm.h>
#include <pinmem/Manager.h>
#include <pinmem/pinmem.h>

namespace Quorvel::Core::Memory::Control::Detail {
namespace {

/// What the pinned-memory library calls its kinds of memory.
enum AllocationFlags : std::uint32_t { frugalDma = 0, ordinary = 1, roomyDma = 4 };

AllocationFlags flagsFor(bool isIncapableDma)
{
   if (isIncapableDma) {
      return ordinary;
   }
   return Orvo::Util::isSmallMemorySystem() ? frugalDma : roomyDma;
}

/// Who the block is labelled with: the agent, or, in a process without a name, this module.
char const* owner()
{
   auto const* name = pinmem_lib::Manager::agentName;
   return name != nullptr ? name : "@Memory/Control/Chunk";
}

} // namespace

constinit Kro::AllocTrackTypeInfo Chunk::memAllocationTracker_{
   sizeof(Chunk), "Quorvel::Core::Memory::Control::Detail::Chunk"};

Chunk::Chunk(Orvo::String const& name, std::uint32_t size, bool isIncapableDma)
   : size_(size), name_(name), isIncapableDma_(isIncapableDma)
{
   initialize();
}

Chunk::~Chunk()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   pinmem_unmap(name_.c_str(), addressVirtual_, 0);
   // There is no store any more when chunks outlive it at the end of the process.
   if (auto const store = StoreChunk::instance()) {
      store->chunkDel(name_);
   }
}

void Chunk::initialize()
{
   auto const addressBus = pinmem_alloc_func(name_.c_str(), size_, owner(), flagsFor(isIncapableDma_));
   Utility::affirm(addressBus != 0);
   auto const addressVirtual = pinmem_map(name_.c_str(), 1, 0, 0);
   Utility::affirm(addressVirtual != 0);
   addressBus_ = addressBus;
   addressVirtual_ = addressVirtual;
}

} // namespace Quorvel::Core::Memory::Control::Detail
