#include "support/ReflectedType.h"

#include <Kro/Exception.h>
#include <Kro/KroModule.h>

#include <array>

namespace Quorvel::Core::Test {
namespace {

std::string shortNameOf(Kro::TypeRef type)
{
   std::string name(type.type->name);
   if (std::string const prefix = "Quorvel::Core::"; name.starts_with(prefix)) {
      name.erase(0, prefix.size());
   }
   switch (type.form) {
   case Kro::Form::ptr:
      return "Ptr<" + name + ">";
   case Kro::Form::raw:
      return name + "*";
   case Kro::Form::plain:
      break;
   }
   return name;
}

std::string signatureOf(Kro::Overload const& overload)
{
   std::string text = "(";
   for (auto const& argument : overload.arguments) {
      text += (text.size() > 1 ? ", " : "") + shortNameOf(argument);
   }
   return text + ")" + (overload.result.type != nullptr ? " -> " + shortNameOf(overload.result) : "");
}

std::string kindOf(Kro::KroAttr const& attr)
{
   switch (attr.kind) {
   case Kro::Kind::value:
      return "value";
   case Kro::Kind::collection:
      return "collection";
   case Kro::Kind::operation:
      return "operation";
   case Kro::Kind::computed:
      return "computed";
   case Kro::Kind::statics:
      return "static";
   case Kro::Kind::reactor:
      return "reactor";
   }
   return "unknown";
}

std::string flagsOf(Kro::KroAttr const& attr)
{
   std::string text;
   if ((attr.flags & Kro::notCompared) != 0) {
      text += ", not compared";
   }
   if ((attr.flags & Kro::ctorArg) != 0) {
      text += ", given to the constructor";
   }
   return text;
}

std::string mutatorsOf(Kro::CollectionOps const& collection)
{
   std::string text = ";";
   for (auto const& [name, overloads] :
        {std::pair(" is", collection.is), std::pair(" del", collection.del), std::pair(" delAll", collection.delAll)}) {
      for (auto const& overload : overloads) {
         text += name + signatureOf(overload);
      }
   }
   return text;
}

/// A slot of no type: an access that is allowed refuses the slot, any other gives its result code.
template <class Access>
bool isAllowed(Access const& access)
{
   try {
      return access(Kro::GenericIf(Kro::TypeRef{})) == Kro::success;
   } catch (Kro::TypeException const&) {
      return true;
   }
}

std::string accessTo(Kro::GenericIf const& object, int number)
{
   bool const get = isAllowed([&](Kro::GenericIf const& slot) { return object.get(number, slot); });
   bool const set = isAllowed([&](Kro::GenericIf const& slot) { return object.set(number, slot); });
   return get ? set ? " [get set]" : " [get]" : set ? " [set]" : " []";
}

} // namespace

std::vector<std::string> attributesOf(Kro::GenericIf const& object)
{
   std::vector<std::string> lines;
   for (auto const& attr : object.type().type->attrs) {
      auto line = std::to_string(attr.number) + " " + std::string(attr.name) + ": " + kindOf(attr);
      if (attr.collection != nullptr) {
         auto const& collection = *attr.collection;
         line += collection.isSet ? " of " : " " + shortNameOf(collection.key) + " -> ";
         line += shortNameOf(attr.type) + (collection.order == Kro::Order::hash ? ", hash" : ", ordered") +
                 flagsOf(attr) + mutatorsOf(collection);
      } else if (!attr.overloads.empty()) {
         for (auto const& overload : attr.overloads) {
            line += signatureOf(overload);
         }
      } else {
         line += " " + shortNameOf(attr.type) + flagsOf(attr);
      }
      lines.push_back(line + accessTo(object, attr.number));
   }
   return lines;
}

std::vector<int> numbersNotRefused(Kro::GenericIf const& object)
{
   std::vector<int> numbers;
   std::array const slots{Kro::GenericIf(Kro::TypeRef{})};
   for (int number = -400; number <= 400; ++number) {
      if (static_cast<Kro::KroType const*>(object.type().type)->findAttr(number) != nullptr) {
         continue;
      }
      std::array const codes{object.get(number, slots[0]),    object.set(number, slots[0]),
                             object.call(number, slots),      object.collectionIs(number, slots),
                             object.collectionDelAll(number), object.collectionDel(number, slots, slots[0])};
      for (auto const code : codes) {
         if (code != Kro::noSuchAttribute) {
            numbers.push_back(number);
         }
      }
   }
   return numbers;
}

std::vector<std::string> constructorsOf(Kro::KroType const& type)
{
   std::vector<std::string> lines;
   for (auto const& constructor : type.constructors) {
      lines.push_back(signatureOf(constructor));
   }
   return lines;
}

std::vector<std::string> typesOf(Kro::KroModule const& module)
{
   std::vector<std::string> names;
   for (auto const* type : module.types) {
      names.emplace_back(type->name);
   }
   return names;
}

} // namespace Quorvel::Core::Test
