// Everything that libQuorvelCore offers, each by its address. What is dropped or renamed keeps this from being compiled or
// linked.

#pragma once

#include <Quorvel/Core/Entifier.h>
#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>
#include <Quorvel/Core/Model/Modules.h>
#include <Quorvel/Core/Pointer.h>
#include <Quorvel/Core/Poller.h>

#include <array>
#include <bit>
#include <cstdint>
#include <ostream>
#include <type_traits>
#include <typeinfo>
#include <utility>

struct Interface {
   char const* name;
   void const* address;
   bool isInLibrary; ///< else compiled into whoever uses it
};

template <class Result, class... Arguments>
void const* address(Result (*function)(Arguments...))
{
   return reinterpret_cast<void const*>(function);
}

/// Of a virtual member function its place in the table of the class, which is never null.
template <class Function>
requires std::is_member_function_pointer_v<Function>

void const* address(Function function)
{
   return reinterpret_cast<void const*>(std::bit_cast<std::array<std::uintptr_t, 2>>(function)[0]);
}

template <class Object>

requires(!std::is_function_v<Object>) void const* address(Object const* object)
{
   return object;
}

/// Chooses, of functions of one name, the one that takes these arguments.
template <class... Arguments>
struct Taking {
   template <class Result, class Class>
   constexpr auto operator()(Result (Class::*function)(Arguments...) const) const
   {
      return function;
   }

   template <class Result, class Class>
   constexpr auto operator()(Result (Class::*function)(Arguments...)) const
   {
      return function;
   }
};

template <class... Arguments>
constexpr Taking<Arguments...> taking{};

// What has no address of its own is used by a function that has one and is never called.

template <class Object, class... Arguments>
void makes(Arguments... arguments)
{
   [[maybe_unused]] Object const object(std::forward<Arguments>(arguments)...);
}

template <class Value>
bool equals(Value const& a, Value const& b)
{
   return a == b;
}

template <class Value>
void prints(std::ostream& stream, Value const& value)
{
   stream << value;
}

struct Plugins : Quorvel::Core::Loader::Singleton {
   explicit Plugins(Orvo::String const& name) : Singleton(name) {}

   Orvo::String prefixPath() const override { return "Client"; }
};

namespace Core = Quorvel::Core;
namespace Info = Quorvel::Core::Memory::Info;
namespace Control = Quorvel::Core::Memory::Control;
namespace Entity = Quorvel::Core::Memory::Entity;
using Control::Offsetter;
using Core::Poller;
using Core::Detail::MakerPathMount;
using Orvo::String;
using Number = std::uint32_t;
using Text = Kro::CharRange&;
template <class T>
using At = typename T::const_iterator;

// NOLINTBEGIN(cppcoreguidelines-macro-usage): a name is written once.
#define OURS(...)                                                                                                      \
   Interface                                                                                                           \
   {                                                                                                                   \
#__VA_ARGS__, address(__VA_ARGS__), true                                                                         \
   }
#define INLINE(...)                                                                                                    \
   Interface                                                                                                           \
   {                                                                                                                   \
#__VA_ARGS__, address(__VA_ARGS__), false                                                                        \
   }
// NOLINTEND(cppcoreguidelines-macro-usage)

inline Interface const descriptions[] = {
   INLINE(makes<Info::Detail::Chunk>),
   INLINE(makes<Info::Detail::Chunk, Text>),
   INLINE(&Info::Detail::Chunk::nameAttribute),
   INLINE(&Info::Detail::Chunk::nameAttributeIs),
   INLINE(&Info::Detail::Chunk::name),
   INLINE(&Info::Detail::Chunk::nameIs),
   INLINE(&Info::Detail::Chunk::size),
   INLINE(&Info::Detail::Chunk::sizeIs),
   INLINE(&Info::Detail::Chunk::isIncapableDma),
   INLINE(&Info::Detail::Chunk::isIncapableDmaIs),
   OURS(&Info::Detail::Chunk::operator bool),
   OURS(&Info::Detail::Chunk::isEq),
   OURS(&Info::Detail::Chunk::hash),
   INLINE(&Info::Detail::Chunk::typeData),
   OURS(&Info::Detail::Chunk::kroType),
   INLINE(equals<Info::Detail::Chunk>),
   INLINE(prints<Info::Detail::Chunk>),

   INLINE(makes<Info::Detail::Group, Number, Number, Number>),
   INLINE(makes<Info::Detail::Group, Text>),
   INLINE(&Info::Detail::Group::id),
   INLINE(&Info::Detail::Group::head),
   INLINE(&Info::Detail::Group::size),
   INLINE(taking<>(&Info::Detail::Group::chunk)),
   OURS(taking<String const&>(&Info::Detail::Group::chunk)),
   OURS(&Info::Detail::Group::chunkIs),
   OURS(&Info::Detail::Group::chunkDel),
   OURS(&Info::Detail::Group::chunkDelAll),
   INLINE(taking<>(&Info::Detail::Group::chunkInternal)),
   OURS(taking<int>(&Info::Detail::Group::chunkInternal)),
   OURS(&Info::Detail::Group::chunkInternalIs),
   OURS(taking<int>(&Info::Detail::Group::chunkInternalDel)),
   OURS(taking<At<Info::Detail::Group::ChunksInternal>>(&Info::Detail::Group::chunkInternalDel)),
   OURS(&Info::Detail::Group::chunkInternalDelAll),
   OURS(&Info::Detail::Group::operator bool),
   OURS(&Info::Detail::Group::isEq),
   INLINE(&Info::Detail::Group::typeData),
   OURS(&Info::Detail::Group::kroType),
   OURS(&Info::Detail::Group::KroChunkInternal::memAllocationTracker_),
   INLINE(equals<Info::Detail::Group>),
   INLINE(prints<Info::Detail::Group>),

   INLINE(makes<Info::Collection, String const&>),
   INLINE(makes<Info::Collection, Text>),
   INLINE(&Info::Collection::name),
   OURS(&Info::Collection::addNameAttribute),
   OURS(taking<Number, Number, Number>(&Info::Collection::addGroup)),
   OURS(taking<Number, Number>(&Info::Collection::addGroup)),
   OURS(&Info::Collection::createChunk),
   INLINE(taking<>(&Info::Collection::group)),
   OURS(taking<Number>(&Info::Collection::group)),
   OURS(&Info::Collection::groupIs),
   OURS(taking<Number>(&Info::Collection::groupDel)),
   OURS(taking<At<Info::Collection::Groups>>(&Info::Collection::groupDel)),
   OURS(&Info::Collection::groupDelAll),
   INLINE(taking<>(&Info::Collection::nameAttribute)),
   OURS(taking<String const&>(&Info::Collection::nameAttribute)),
   OURS(&Info::Collection::nameAttributeIs),
   OURS(&Info::Collection::nameAttributeDel),
   OURS(&Info::Collection::nameAttributeDelAll),
   OURS(&Info::Collection::operator bool),
   OURS(&Info::Collection::isEq),
   INLINE(&Info::Collection::typeData),
   OURS(&Info::Collection::kroType),
   OURS(&Info::Collection::KroGroup::memAllocationTracker_),
   INLINE(equals<Info::Collection>),
   INLINE(prints<Info::Collection>),

   INLINE(makes<Info::Mount, String const&, String const&>),
   INLINE(makes<Info::Mount, Text>),
   INLINE(&Info::Mount::path),
   INLINE(&Info::Mount::type),
   INLINE(&Info::Mount::isZeroedMemoryOnMounting),
   INLINE(&Info::Mount::isZeroedMemoryOnMountingIs),
   INLINE(taking<>(&Info::Mount::collection)),
   OURS(taking<String const&>(&Info::Mount::collection)),
   OURS(&Info::Mount::collectionIs),
   OURS(&Info::Mount::collectionDel),
   OURS(&Info::Mount::collectionDelAll),
   OURS(&Info::Mount::handleCollection),
   INLINE(taking<>(&Info::Mount::collectionInternal)),
   OURS(taking<int>(&Info::Mount::collectionInternal)),
   OURS(&Info::Mount::collectionInternalIs),
   OURS(taking<int>(&Info::Mount::collectionInternalDel)),
   OURS(taking<At<Info::Mount::CollectionsInternal>>(&Info::Mount::collectionInternalDel)),
   OURS(&Info::Mount::collectionInternalDelAll),
   OURS(&Info::Mount::operator bool),
   OURS(&Info::Mount::isEq),
   INLINE(&Info::Mount::typeData),
   OURS(&Info::Mount::kroType),
   OURS(&Info::Mount::KroCollectionInternal::memAllocationTracker_),
   INLINE(equals<Info::Mount>),
   INLINE(prints<Info::Mount>),
};

inline Interface const liveMemory[] = {
   INLINE(makes<Control::Detail::Chunk, String const&, Number, bool>),
   OURS(&Control::Detail::Chunk::initialize),
   INLINE(&Control::Detail::Chunk::size),
   INLINE(&Control::Detail::Chunk::name),
   INLINE(&Control::Detail::Chunk::addressVirtual),
   INLINE(&Control::Detail::Chunk::addressBus),
   INLINE(&Control::Detail::Chunk::isIncapableDma),
   INLINE(&Control::Detail::Chunk::typeData),
   INLINE(&Control::Detail::Chunk::fwkType),
   OURS(&Control::Detail::Chunk::kroType),
   OURS(&Control::Detail::Chunk::memAllocationTracker_),
   OURS(&typeid(Control::Detail::Chunk)),

   INLINE(makes<Control::Detail::StoreChunk, String const&>),
   OURS(&Control::Detail::StoreChunk::instance),
   OURS(&Control::Detail::StoreChunk::chunkIs),
   OURS(&Control::Detail::StoreChunk::chunkDel),
   OURS(&Control::Detail::StoreChunk::chunkDelAll),
   INLINE(taking<>(&Control::Detail::StoreChunk::chunk)),
   OURS(taking<String const&>(&Control::Detail::StoreChunk::chunk)),
   OURS(&Control::Detail::StoreChunk::handleChunk),
   INLINE(&Control::Detail::StoreChunk::typeData),
   INLINE(&Control::Detail::StoreChunk::fwkType),
   INLINE(&Control::Detail::StoreChunk::publisher),
   OURS(&Control::Detail::StoreChunk::kroType),
   OURS(&Control::Detail::StoreChunk::memAllocationTracker_),
   OURS(&typeid(Control::Detail::StoreChunk)),

   INLINE(makes<Control::Detail::Group, Number, Number, Number>),
   INLINE(&Control::Detail::Group::id),
   INLINE(&Control::Detail::Group::head),
   INLINE(&Control::Detail::Group::size),
   INLINE(&Control::Detail::Group::typeData),
   INLINE(&Control::Detail::Group::fwkType),
   OURS(&Control::Detail::Group::kroType),
   OURS(&Control::Detail::Group::memAllocationTracker_),
   OURS(&typeid(Control::Detail::Group)),

   INLINE(makes<Control::Detail::Attribute, std::int32_t, Number>),
   INLINE(&Control::Detail::Attribute::id),
   INLINE(&Control::Detail::Attribute::size),
   INLINE(taking<>(&Control::Detail::Attribute::group)),
   OURS(taking<Number>(&Control::Detail::Attribute::group)),
   OURS(&Control::Detail::Attribute::groupIs),
   OURS(taking<Number>(&Control::Detail::Attribute::groupDel)),
   OURS(taking<At<Control::Detail::Attribute::Groups>>(&Control::Detail::Attribute::groupDel)),
   OURS(&Control::Detail::Attribute::groupDelAll),
   INLINE(taking<>(&Control::Detail::Attribute::chunk)),
   OURS(taking<Number>(&Control::Detail::Attribute::chunk)),
   OURS(&Control::Detail::Attribute::chunkIs),
   OURS(taking<Number>(&Control::Detail::Attribute::chunkDel)),
   OURS(taking<At<Control::Detail::Attribute::Chunks>>(&Control::Detail::Attribute::chunkDel)),
   OURS(&Control::Detail::Attribute::chunkDelAll),
   OURS(&Control::Detail::Attribute::obtainChunkAndOffset),
   OURS(&Control::Detail::Attribute::nextStretch),
   INLINE(&Control::Detail::Attribute::typeData),
   INLINE(&Control::Detail::Attribute::fwkType),
   OURS(&Control::Detail::Attribute::kroType),
   OURS(&Control::Detail::Attribute::memAllocationTracker_),
   OURS(&Control::Detail::Attribute::KroGroup::memAllocationTracker_),
   OURS(&Control::Detail::Attribute::KroChunk::memAllocationTracker_),
   OURS(&typeid(Control::Detail::Attribute)),

   INLINE(makes<Control::Collection, Offsetter>),
   INLINE(taking<>(&Control::Collection::attribute)),
   OURS(taking<std::int32_t>(&Control::Collection::attribute)),
   OURS(&Control::Collection::attributeIs),
   OURS(&Control::Collection::attributesIs),
   OURS(taking<std::int32_t>(&Control::Collection::attributeDel)),
   OURS(taking<At<Control::Collection::Attributes>>(&Control::Collection::attributeDel)),
   OURS(&Control::Collection::attributeDelAll),
   INLINE(taking<>(&Control::Collection::group)),
   OURS(taking<Number>(&Control::Collection::group)),
   OURS(&Control::Collection::groupIs),
   OURS(taking<Number>(&Control::Collection::groupDel)),
   OURS(taking<At<Control::Collection::Groups>>(&Control::Collection::groupDel)),
   OURS(&Control::Collection::groupDelAll),
   OURS(&Control::Collection::synchronizerIs),
   INLINE(&Control::Collection::capacity),
   INLINE(&Control::Collection::capacityIs),
   INLINE(&Control::Collection::offsetter),
   OURS(&Control::Collection::addressBus),
   OURS(&Control::Collection::addressVirtual),
   INLINE(&Control::Collection::runs<std::byte>),
   OURS(&Control::Collection::reset),
   OURS(&Control::Collection::synchronizeAll),
   OURS(&Control::Collection::composeName),
   INLINE(&Control::Collection::typeData),
   INLINE(&Control::Collection::fwkType),
   OURS(&Control::Collection::kroType),
   OURS(&Control::Collection::memAllocationTracker_),
   OURS(&Control::Collection::KroGroup::memAllocationTracker_),
   OURS(&Control::Collection::KroGroup::groupIs),
   OURS(&typeid(Control::Collection)),
   OURS(&Control::offsetterType),

   INLINE(prints<Core::Memory::Pointer<int>>),
   INLINE(prints<Core::Memory::Pointer<void>>),
   OURS(&Core::Memory::Detail::valueToStrep),
};

inline Interface const entities[] = {
   INLINE(makes<Entity::Manager, String const&>),
   OURS(&Entity::Manager::ManagerIs),
   OURS(&Entity::Manager::instantiate),
   OURS(&Entity::Manager::initialize),
   OURS(&Entity::Manager::mount),
   OURS(&Entity::Manager::unmount),
   OURS(&Entity::Manager::mountInternal),
   OURS(&Entity::Manager::entify),
   INLINE(taking<>(&Entity::Manager::infoMount)),
   OURS(taking<String const&>(&Entity::Manager::infoMount)),
   OURS(&Entity::Manager::infoMountIs),
   OURS(&Entity::Manager::infoMountDel),
   OURS(&Entity::Manager::infoMountDelAll),
   INLINE(taking<>(&Entity::Manager::orphan)),
   OURS(taking<String const&>(&Entity::Manager::orphan)),
   OURS(&Entity::Manager::orphanIs),
   OURS(&Entity::Manager::orphanDel),
   OURS(&Entity::Manager::orphanDelAll),
   OURS(&Entity::Manager::orphanage),
   INLINE(&Entity::Manager::directory),
   INLINE(&Entity::Manager::sysname),
   OURS(&Entity::Manager::nameDirectory),
   INLINE(&Entity::Manager::typeData),
   INLINE(&Entity::Manager::fwkType),
   OURS(&Entity::Manager::kroType),
   OURS(&Entity::Manager::memAllocationTracker_),
   OURS(&typeid(Entity::Manager)),
   OURS(&Entity::managerFactory),

   INLINE(makes<Entity::Detail::Info>),
   INLINE(makes<Entity::Detail::Info, Text>),
   INLINE(&Entity::Detail::Info::sysname),
   INLINE(&Entity::Detail::Info::sysnameIs),
   INLINE(&Entity::Detail::Info::path),
   INLINE(&Entity::Detail::Info::pathIs),
   OURS(&Entity::Detail::Info::operator bool),
   OURS(&Entity::Detail::Info::isEq),
   OURS(&Entity::Detail::Info::hash),
   INLINE(&Entity::Detail::Info::typeData),
   OURS(&Entity::Detail::Info::kroType),
   INLINE(equals<Entity::Detail::Info>),
   INLINE(prints<Entity::Detail::Info>),

   INLINE(makes<Entity::Detail::Orphanage, String const&>),
   INLINE(taking<>(&Entity::Detail::Orphanage::info)),
   OURS(taking<Kro::Entity const*>(&Entity::Detail::Orphanage::info)),
   OURS(&Entity::Detail::Orphanage::infoIs),
   OURS(&Entity::Detail::Orphanage::infoDel),
   OURS(&Entity::Detail::Orphanage::infoDelAll),
   INLINE(&Entity::Detail::Orphanage::typeData),
   INLINE(&Entity::Detail::Orphanage::fwkType),
   INLINE(&Entity::Detail::Orphanage::publisher),
   OURS(&Entity::Detail::Orphanage::kroType),
   OURS(&Entity::Detail::Orphanage::memAllocationTracker_),
   OURS(&typeid(Entity::Detail::Orphanage)),

   OURS(&Entity::Destructor::cleanup),
};

inline Interface const services[] = {
   OURS(&MakerPathMount::makePath),
   OURS(&MakerPathMount::cellId),
   OURS(&MakerPathMount::Constant::arrayArgPath),

   INLINE(makes<Plugins, String const&>),
   OURS(&Core::Loader::Singleton::load),
   INLINE(&Core::Loader::Singleton::prefixPath),
   INLINE(&Core::Loader::Singleton::suffixPath),
   INLINE(&Core::Loader::Singleton::typeData),
   OURS(&Core::Loader::Singleton::kroType),
   OURS(&Core::Loader::Singleton::memAllocationTracker_),
   OURS(&typeid(Core::Loader::Singleton)),

   INLINE(makes<Core::Loader::Pimpl>),
   INLINE(makes<Core::Loader::Pimpl, Text>),
   OURS(&Core::Loader::Pimpl::instantiate),
   INLINE(&Core::Loader::Pimpl::operator bool),
   OURS(&Core::Loader::Pimpl::isEq),
   INLINE(&Core::Loader::Pimpl::typeData),
   OURS(&Core::Loader::Pimpl::kroType),
   INLINE(equals<Core::Loader::Pimpl>),
   INLINE(prints<Core::Loader::Pimpl>),

   INLINE(makes<Poller>),
   INLINE(makes<Poller, Poller>),
   OURS(&Poller::poll),
   OURS(&Poller::fileIs),
   OURS(&Poller::open),
   OURS(&Poller::File::checkDescriptor),
};

inline Interface const modules[] = {
   OURS(&_Mount_9f87669e06341142_kroModule),     OURS(&_Chunk_334569107d2ca953_kroModule),
   OURS(&_Collection_d95037a923a29d5_kroModule), OURS(&_Manager_3f1d6af35e273bc_kroModule),
   OURS(&_Loader_65b35f617e5fa89d_kroModule),
};
