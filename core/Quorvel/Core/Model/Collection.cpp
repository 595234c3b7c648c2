#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Table.h>
#include <pinmem/Manager.h>

namespace Quorvel::Core::Memory::Control {
namespace Detail {

struct Attribute::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Attribute>(
      Kro::collection<130, &Attribute::group_, Kro::is<&Attribute::groupIs>,
         Kro::del<Kro::overload<std::uint32_t>(&Attribute::groupDel)>,
         Kro::delAll<&Attribute::groupDelAll>>("group"),
      Kro::collection<131, &Attribute::chunk_, Kro::is<&Attribute::chunkIs>,
         Kro::del<Kro::overload<std::uint32_t>(&Attribute::chunkDel)>,
         Kro::delAll<&Attribute::chunkDelAll>>("chunk"),
      Kro::value<132, &Attribute::id>("id", Kro::ctorArg),
      Kro::value<133, &Attribute::size_>("size", Kro::readOnly | Kro::ctorArg));
   // clang-format on
};

constinit Kro::KroType const Attribute::kroType = Kro::entityType<Attribute, Attribute::Declaration>(
   "Quorvel::Core::Memory::Control::Detail::Attribute", &_Collection_d95037a923a29d5_kroModule);

} // namespace Detail

struct Collection::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Collection>(
      Kro::collection<130, &Collection::attribute_, Kro::is<&Collection::attributeIs>,
         Kro::del<Kro::overload<std::int32_t>(&Collection::attributeDel)>,
         Kro::delAll<&Collection::attributeDelAll>>("attribute"),
      Kro::collection<131, &Collection::group_, Kro::is<&Collection::groupIs>,
         Kro::del<Kro::overload<std::uint32_t>(&Collection::groupDel)>,
         Kro::delAll<&Collection::groupDelAll>>("group"),
      Kro::value<134, &Collection::capacity_>("capacity"),
      Kro::computed<135, &Collection::composeName>("composeName"),
      Kro::computed<136, &Collection::addressVirtual>("addressVirtual"),
      Kro::computed<137, &Collection::addressBus>("addressBus"),
      Kro::operation<138, &Collection::reset>("reset"),
      Kro::operation<139, &Collection::synchronizeAll>("synchronizeAll"));
   // clang-format on
};

constinit Kro::KroType const Collection::kroType =
   Kro::entityType<Collection, Collection::Declaration, Kro::constructor<Offsetter>>(
      "Quorvel::Core::Memory::Control::Collection", &_Collection_d95037a923a29d5_kroModule);

constinit Kro::KroType const offsetterType =
   Kro::plainType<Offsetter>("Quorvel::Core::Memory::Control::Offsetter", &_Collection_d95037a923a29d5_kroModule);

} // namespace Quorvel::Core::Memory::Control

namespace {

namespace Control = Quorvel::Core::Memory::Control;

constexpr Kro::KroType const* types[] = {&Control::Detail::Attribute::kroType, &Control::Collection::kroType};

constexpr Kro::KroType const* refersTo[] = {
   &Control::offsetterType, &Control::Detail::Group::kroType, &Control::Detail::Chunk::kroType};

} // namespace

constinit Kro::KroModule _Collection_d95037a923a29d5_kroModule{
   "Collection", "Memory/Control/Collection", types, refersTo};

namespace {

[[maybe_unused]] bool const isLoaded = [] {
   pinmem_lib::Manager::captureAgentName();
   Kro::kroModuleIs(_Collection_d95037a923a29d5_kroModule);
   return true;
}();

} // namespace
