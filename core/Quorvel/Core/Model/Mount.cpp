#include <Quorvel/Core/Memory/Info/Collection.h>
#include <Quorvel/Core/Memory/Info/Detail/Chunk.h>
#include <Quorvel/Core/Memory/Info/Detail/Group.h>
#include <Quorvel/Core/Memory/Info/Mount.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Table.h>
#include <KroOrvo/Impl.h>

#include <ostream>

namespace Quorvel::Core::Memory::Info {
namespace Detail {

struct Chunk::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Chunk>(
      Kro::value<2, &Chunk::nameAttribute_>("nameAttribute"),
      Kro::value<3, &Chunk::name_>("name"),
      Kro::value<4, &Chunk::size_>("size"),
      Kro::value<5, &Chunk::isIncapableDma_>("isIncapableDma"));
   // clang-format on
};

constinit Kro::KroType const Chunk::kroType = Kro::valueType<Chunk, Chunk::Declaration>(
   "Quorvel::Core::Memory::Info::Detail::Chunk", &_Mount_9f87669e06341142_kroModule);

Chunk::Chunk(Kro::CharRange& text)
{
   Kro::readByTable<Chunk, Chunk::Declaration>(text, *this);
}

bool operator==(Chunk const& a, Chunk const& b)
{
   return Kro::equal<Chunk, Chunk::Declaration>(a, b);
}

bool Chunk::isEq(void const* a, void const* b)
{
   return *static_cast<Chunk const*>(a) == *static_cast<Chunk const*>(b);
}

std::ostream& operator<<(std::ostream& stream, Chunk const& chunk)
{
   return stream << KroOrvo::Impl::valueToStrep(Chunk::kroType, &chunk);
}

struct Group::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Group>(
      Kro::collection<2, &Group::chunk_, Kro::is<&Group::chunkIs>, Kro::del<&Group::chunkDel>,
         Kro::delAll<&Group::chunkDelAll>>("chunk"),
      Kro::collection<3, &Group::chunkInternal_, Kro::is<&Group::chunkInternalIs>,
         Kro::del<Kro::overload<int>(&Group::chunkInternalDel)>,
         Kro::delAll<&Group::chunkInternalDelAll>>("chunkInternal"),
      Kro::value<4, &Group::id_>("id", Kro::readOnly | Kro::ctorArg),
      Kro::value<5, &Group::head_>("head", Kro::readOnly | Kro::ctorArg),
      Kro::value<6, &Group::size_>("size", Kro::readOnly | Kro::ctorArg));
   // clang-format on
};

constinit Kro::KroType const Group::kroType = Kro::valueType<Group, Group::Declaration>(
   "Quorvel::Core::Memory::Info::Detail::Group", &_Mount_9f87669e06341142_kroModule);

Group::Group(Kro::CharRange& text) : Group(0, 0, 0)
{
   Kro::readByTable<Group, Group::Declaration>(text, *this);
}

bool operator==(Group const& a, Group const& b)
{
   return Kro::equal<Group, Group::Declaration>(a, b);
}

bool Group::isEq(void const* a, void const* b)
{
   return *static_cast<Group const*>(a) == *static_cast<Group const*>(b);
}

std::ostream& operator<<(std::ostream& stream, Group const& group)
{
   return stream << KroOrvo::Impl::valueToStrep(Group::kroType, &group);
}

} // namespace Detail

struct Collection::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Collection>(
      Kro::collection<2, &Collection::group_, Kro::is<&Collection::groupIs>,
         Kro::del<Kro::overload<std::uint32_t>(&Collection::groupDel)>,
         Kro::delAll<&Collection::groupDelAll>>("group"),
      Kro::collection<3, &Collection::nameAttribute_, Kro::is<&Collection::nameAttributeIs>,
         Kro::del<&Collection::nameAttributeDel>, Kro::delAll<&Collection::nameAttributeDelAll>>("nameAttribute"),
      Kro::value<4, &Collection::name_>("name", Kro::readOnly | Kro::ctorArg),
      Kro::operation<5, Kro::overload<std::uint32_t, std::uint32_t, std::uint32_t>(&Collection::addGroup),
         Kro::overload<std::uint32_t, std::uint32_t>(&Collection::addGroup)>("addGroup"),
      Kro::operation<6, &Collection::addNameAttribute>("addNameAttribute"),
      Kro::operation<7, &Collection::createChunk>("createChunk"));
   // clang-format on
};

constinit Kro::KroType const Collection::kroType = Kro::valueType<Collection, Collection::Declaration>(
   "Quorvel::Core::Memory::Info::Collection", &_Mount_9f87669e06341142_kroModule);

Collection::Collection(Kro::CharRange& text) : Collection("")
{
   Kro::readByTable<Collection, Collection::Declaration>(text, *this);
}

bool operator==(Collection const& a, Collection const& b)
{
   return Kro::equal<Collection, Collection::Declaration>(a, b);
}

bool Collection::isEq(void const* a, void const* b)
{
   return *static_cast<Collection const*>(a) == *static_cast<Collection const*>(b);
}

std::ostream& operator<<(std::ostream& stream, Collection const& collection)
{
   return stream << KroOrvo::Impl::valueToStrep(Collection::kroType, &collection);
}

struct Mount::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Mount>(
      Kro::collection<2, &Mount::collection_, Kro::is<&Mount::collectionIs>, Kro::del<&Mount::collectionDel>,
         Kro::delAll<&Mount::collectionDelAll>>("collection"),
      Kro::collection<3, &Mount::collectionInternal_, Kro::is<&Mount::collectionInternalIs>,
         Kro::del<Kro::overload<int>(&Mount::collectionInternalDel)>,
         Kro::delAll<&Mount::collectionInternalDelAll>>("collectionInternal"),
      Kro::value<5, &Mount::path_>("path", Kro::readOnly | Kro::ctorArg),
      Kro::value<6, &Mount::type_>("type", Kro::readOnly | Kro::ctorArg),
      Kro::value<7, &Mount::isZeroedMemoryOnMounting_>("isZeroedMemoryOnMounting", Kro::notCompared),
      Kro::reactor<8, &Mount::handleCollection>("handleCollection"));
   // clang-format on
};

constinit Kro::KroType const Mount::kroType =
   Kro::valueType<Mount, Mount::Declaration>("Quorvel::Core::Memory::Info::Mount", &_Mount_9f87669e06341142_kroModule);

Mount::Mount(Kro::CharRange& text) : Mount("", "")
{
   Kro::readByTable<Mount, Mount::Declaration>(text, *this);
}

bool operator==(Mount const& a, Mount const& b)
{
   return Kro::equal<Mount, Mount::Declaration>(a, b);
}

bool Mount::isEq(void const* a, void const* b)
{
   return *static_cast<Mount const*>(a) == *static_cast<Mount const*>(b);
}

std::ostream& operator<<(std::ostream& stream, Mount const& mount)
{
   return stream << KroOrvo::Impl::valueToStrep(Mount::kroType, &mount);
}

} // namespace Quorvel::Core::Memory::Info

namespace {

namespace Info = Quorvel::Core::Memory::Info;

constexpr Kro::KroType const* types[] = {
   &Info::Detail::Chunk::kroType, &Info::Detail::Group::kroType, &Info::Collection::kroType, &Info::Mount::kroType};

} // namespace

constinit Kro::KroModule _Mount_9f87669e06341142_kroModule{"Mount", "Memory/Info/Mount", types, {}};

namespace {

[[maybe_unused]] bool const isLoaded = [] {
   Kro::kroModuleIs(_Mount_9f87669e06341142_kroModule);
   return true;
}();

} // namespace
