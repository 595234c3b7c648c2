#include <Quorvel/Core/Memory/Control/Detail/Chunk.h>
#include <Quorvel/Core/Memory/Control/Detail/Group.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Table.h>
#include <pinmem/Manager.h>

namespace Quorvel::Core::Memory::Control::Detail {

struct Chunk::Declaration {
   // `terminate` and `isTerminated` belong to the model alone: nothing ends a chunk but its last user.
   static void terminate() {}

   static bool isTerminated() { return false; }

   // clang-format off
   static constexpr auto table = Kro::table<Chunk>(
      Kro::value<130, &Chunk::name_>("name", Kro::readOnly | Kro::ctorArg),
      Kro::value<132, &Chunk::addressBus_>("addressBus", Kro::readOnly),
      Kro::value<133, &Chunk::size_>("size", Kro::readOnly | Kro::ctorArg),
      Kro::value<134, &Chunk::isIncapableDma_>("isIncapableDma", Kro::readOnly | Kro::ctorArg),
      Kro::operation<135, &Chunk::initialize>("initialize"), Kro::operation<136, &Declaration::terminate>("terminate"),
      Kro::value<137, &Declaration::isTerminated>("isTerminated"), Kro::computed<154, &Chunk::name>("nameString"));
   // clang-format on
};

constinit Kro::KroType const Chunk::kroType = Kro::entityType<Chunk, Chunk::Declaration>(
   "Quorvel::Core::Memory::Control::Detail::Chunk", &_Chunk_334569107d2ca953_kroModule);

struct StoreChunk::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<StoreChunk, Kro::Entity>(
      Kro::computed<154, &StoreChunk::nameString>("nameString"),
      Kro::collection<
         chunkNumber, &StoreChunk::chunk_, Kro::is<&StoreChunk::chunkIs>, Kro::del<&StoreChunk::chunkDel>,
         Kro::delAll<&StoreChunk::chunkDelAll>>("chunk"),
      Kro::statics<259, &StoreChunk::instance>("instance"), Kro::reactor<260, &StoreChunk::handleChunk>("handleChunk"));
   // clang-format on
};

constinit Kro::KroType const StoreChunk::kroType = Kro::entityType<StoreChunk, StoreChunk::Declaration>(
   "Quorvel::Core::Memory::Control::Detail::StoreChunk", &_Chunk_334569107d2ca953_kroModule);

struct Group::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Group>(
      Kro::value<130, &Group::id_>("id", Kro::readOnly | Kro::ctorArg),
      Kro::value<131, &Group::head_>("head", Kro::readOnly | Kro::ctorArg),
      Kro::value<132, &Group::size_>("size", Kro::readOnly | Kro::ctorArg));
   // clang-format on
};

constinit Kro::KroType const Group::kroType = Kro::entityType<Group, Group::Declaration>(
   "Quorvel::Core::Memory::Control::Detail::Group", &_Chunk_334569107d2ca953_kroModule);

} // namespace Quorvel::Core::Memory::Control::Detail

namespace {

namespace Detail = Quorvel::Core::Memory::Control::Detail;

constexpr Kro::KroType const* types[] = {
   &Detail::Chunk::kroType, &Detail::StoreChunk::kroType, &Detail::Group::kroType};

} // namespace

constinit Kro::KroModule _Chunk_334569107d2ca953_kroModule{"Chunk", "Memory/Control/Chunk", types, {}};

namespace {

[[maybe_unused]] bool const isLoaded = [] {
   pinmem_lib::Manager::captureAgentName();
   Kro::kroModuleIs(_Chunk_334569107d2ca953_kroModule);
   return true;
}();

} // namespace
