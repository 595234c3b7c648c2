// Every registered type, made, read, written, copied, compared and walked without knowing any of them.
#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>
#include <Kro/Slot.h>

#include <gtest/gtest.h>

#include <vector>

namespace Test {
namespace {

using Kro::Form;
using Kro::GenericIf;
using Kro::Slot;

bool hasDefault(Kro::TypeRef type)
{
   return type.form != Form::plain || type.type->ops.init != nullptr;
}

/// Default values of some types; false: one of them has none.
bool defaultsOf(std::span<Kro::TypeRef const> types, std::vector<Slot>& slots, std::vector<GenericIf>& arguments)
{
   for (auto const type : types) {
      if (!hasDefault(type)) {
         return false;
      }
      slots.emplace_back(type);
      arguments.push_back(slots.back().genericIf());
   }
   return true;
}

class GenericWalk : public testing::Test {
protected:
   int types = 0;
   int objects = 0;
   int values = 0;
   int elements = 0;

   void walkType(Kro::KroType const& type)
   {
      ++types;
      if (type.ops.init != nullptr) {
         walkValue(Slot({&type, Form::plain}).genericIf());
      }
      for (auto const& constructor : type.constructors) {
         std::vector<Slot> slots;
         std::vector<GenericIf> arguments;
         if (defaultsOf(constructor.arguments, slots, arguments)) {
            walkObject(Slot::make(type, arguments).object());
         }
      }
   }

private:
   void walkValue(GenericIf const& value)
   {
      ++values;
      auto const& type = *value.type().type;
      if (value.type().form == Form::plain && !type.isPolymorphic()) {
         walkObject(value);
         if (type.ops.copy == nullptr) {
            return;
         }
      }
      auto const copy = Slot::copyOf(value);
      if (value.type().form != Form::plain || type.ops.equal != nullptr) {
         EXPECT_TRUE(copy.genericIf().isEqual(value)) << type.name;
      }
      if (value.type().form == Form::plain && type.ops.hash != nullptr) {
         EXPECT_EQ(copy.genericIf().hash(), value.hash()) << type.name;
      }
   }

   void walkObject(GenericIf const& object)
   {
      objects += object.voidPtr() != nullptr ? 1 : 0;
      for (auto const* type = object.type().type; type != nullptr; type = type->base) {
         for (auto const& attr : type->attrs) {
            SCOPED_TRACE(testing::Message() << type->name << "::" << attr.name);
            walkAttr(object, attr);
         }
      }
   }

   void walkAttr(GenericIf const& object, Kro::KroAttr const& attr)
   {
      // A derived type may have another attribute of that number.
      bool const isReached = static_cast<Kro::KroType const*>(object.type().type)->findAttr(attr.number) == &attr;
      if (!isReached) {
         return;
      }
      if (attr.get != nullptr && hasDefault(attr.type)) {
         Slot const slot(attr.type);
         EXPECT_EQ(object.get(attr.number, slot.genericIf()), Kro::success);
         walkValue(slot.genericIf());
         bool const isWritable = attr.set != nullptr && !object.isReadOnly();
         EXPECT_EQ(object.set(attr.number, slot.genericIf()), isWritable ? Kro::success : Kro::notAllowed);
      }
      if (attr.collection != nullptr) {
         walkCollection(object, attr);
      }
   }

   void walkCollection(GenericIf const& object, Kro::KroAttr const& attr)
   {
      for (auto const& mutator : attr.collection->is) {
         std::vector<Slot> slots;
         std::vector<GenericIf> arguments;
         if (defaultsOf(mutator.arguments, slots, arguments)) {
            try {
               EXPECT_EQ(object.collectionIs(attr.number, arguments), Kro::success);
            } catch (Kro::TypeNotFoundException const&) { // a directory makes entities of a type
            }
         }
      }
      std::size_t size = 0;
      std::size_t seen = 0;
      auto const see = [&](GenericIf const& key, GenericIf const& element) {
         ++seen;
         walkValue(key);
         if (element.voidPtr() != nullptr) {
            element.type().type->isPolymorphic() ? walkObject(element) : walkValue(element);
         }
         return true;
      };
      auto const isStored = attr.collection->visit != nullptr ? Kro::success : Kro::notAllowed;
      EXPECT_EQ(object.size(attr.number, size), isStored);
      EXPECT_EQ(object.visit(attr.number, see), isStored);
      EXPECT_EQ(seen, size);
      elements += static_cast<int>(seen);
   }
};

TEST_F(GenericWalk, makesReadsWritesCopiesComparesAndWalksEveryRegisteredType)
{
   for (auto const* module = Kro::firstModule(); module != nullptr; module = module->next) {
      for (auto const* type : module->types) {
         walkType(*type);
      }
   }

   EXPECT_GE(types, 13) << "those of the framework and of the test modules";
   EXPECT_GE(objects, 13);
   EXPECT_GE(values, 60);
   EXPECT_GE(elements, 4) << "one of each of the card's collections";
}

} // namespace
} // namespace Test
