// What every type of the library has.

#include "support/MemoryTest.h"

#include <Quorvel/Core/Entifier.h>
#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>
#include <Quorvel/Core/Model/Modules.h>
#include <Quorvel/Core/Poller.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

namespace Control = Quorvel::Core::Memory::Control;
namespace Entity = Quorvel::Core::Memory::Entity;
namespace Info = Quorvel::Core::Memory::Info;
namespace Loader = Quorvel::Core::Loader;

// ---- names, paths and keys are texts of the framework's -----------------------------------------------------------------

template <auto accessor, class T>
constexpr bool isText =
   std::is_same_v<std::remove_cvref_t<std::invoke_result_t<decltype(accessor), T const&>>, Orvo::String>;

static_assert(isText<&Info::Detail::Chunk::nameAttribute, Info::Detail::Chunk>);
static_assert(isText<&Info::Detail::Chunk::name, Info::Detail::Chunk>);
static_assert(isText<&Info::Collection::name, Info::Collection>);
static_assert(isText<&Info::Mount::path, Info::Mount> && isText<&Info::Mount::type, Info::Mount>);
static_assert(isText<&Control::Detail::Chunk::name, Control::Detail::Chunk>);
static_assert(isText<&Entity::Detail::Info::sysname, Entity::Detail::Info>);
static_assert(isText<&Entity::Detail::Info::path, Entity::Detail::Info>);
static_assert(isText<&Entity::Manager::sysname, Entity::Manager>);
static_assert(isText<&Entity::Manager::nameDirectory, Entity::Manager>);
static_assert(isText<&Loader::Singleton::prefixPath, Loader::Singleton>);
static_assert(isText<&Loader::Singleton::suffixPath, Loader::Singleton>);
static_assert(std::is_same_v<decltype(Control::Collection::composeName("")), Orvo::String>);

// ---- the layout rule -----------------------------------------------------------------------------------------------------

using Rule = std::uint32_t (*)(std::uint32_t head, std::uint32_t index, std::uint32_t size);
static_assert(std::is_same_v<Control::Offsetter, Rule>);

// ---- type records ---------------------------------------------------------------------------------------------------------

class ModelTypes : public Quorvel::Core::Test::MemoryTest {};

class Family final : public Loader::Singleton {
public:
   using Singleton::Singleton;

   ~Family() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Orvo::String prefixPath() const override { return "family"; }
};

TEST_F(ModelTypes, valuesAnswerTypeData)
{
   EXPECT_EQ(Info::Detail::Chunk().typeData().name, "Quorvel::Core::Memory::Info::Detail::Chunk");
   EXPECT_EQ(Info::Detail::Group(0, 0, 0).typeData().name, "Quorvel::Core::Memory::Info::Detail::Group");
   EXPECT_EQ(Info::Collection("").typeData().name, "Quorvel::Core::Memory::Info::Collection");
   EXPECT_EQ(Info::Mount("", "").typeData().name, "Quorvel::Core::Memory::Info::Mount");
   EXPECT_EQ(Entity::Detail::Info().typeData().name, "Quorvel::Core::Memory::Entity::Detail::Info");
   EXPECT_EQ(Loader::Pimpl().typeData().name, "Quorvel::Core::Loader::Pimpl");
}

/// @param object  whose two answers must be the record of that name
template <class T>
void expectType(T const& object, std::string const& name)
{
   Orvo::Node const& node = object;
   EXPECT_EQ(node.typeData().name, name);
   EXPECT_EQ(&node.typeData(), static_cast<Kro::TypeData const*>(&object.fwkType()));
   EXPECT_EQ(Kro::findType(name), &object.fwkType());
}

TEST_F(ModelTypes, liveObjectsAnswerTypeDataAndFwkType)
{
   expectType(*Orvo::make<Control::Detail::Chunk>("c", 64U, false), "Quorvel::Core::Memory::Control::Detail::Chunk");
   expectType(store(), "Quorvel::Core::Memory::Control::Detail::StoreChunk");
   expectType(*Orvo::make<Control::Detail::Group>(0U, 0U, 0U), "Quorvel::Core::Memory::Control::Detail::Group");
   expectType(*Orvo::make<Control::Detail::Attribute>(2, 4U), "Quorvel::Core::Memory::Control::Detail::Attribute");
   expectType(*Orvo::make<Control::Collection>(nullptr), "Quorvel::Core::Memory::Control::Collection");
   expectType(*Entity::managerFactory("m"), "Quorvel::Core::Memory::Entity::Manager");
   expectType(*Entity::Manager::orphanage(), "Quorvel::Core::Memory::Entity::Detail::Orphanage");
   expectType(*Orvo::make<Family>("f"), "Quorvel::Core::Loader::Singleton");
}

} // namespace
