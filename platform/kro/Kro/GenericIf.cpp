#include <Kro/GenericIf.h>

#include <Kro/Exception.h>

#include <Orvo/Node.h>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

namespace Kro {
namespace {

Orvo::String nameOf(TypeRef type)
{
   if (type.type == nullptr) {
      return "nothing";
   }
   switch (type.form) {
   case Form::ptr:
      return Orvo::join("Orvo::Ptr<", type.type->name, ">");
   case Form::raw:
      return Orvo::join(type.type->name, "*");
   case Form::plain:
      break;
   }
   return type.type->name;
}

/// Whether an object of this type has exactly this attribute, its own or an inherited one.
bool has(TypeRef object, KroAttr const& attr)
{
   auto const* type = object.form == Form::plain ? object.type : nullptr;
   constexpr std::less<> less;
   while (type != nullptr &&
          (less(&attr, type->attrs.data()) || !less(&attr, type->attrs.data() + type->attrs.size()))) {
      type = type->base;
   }
   return type != nullptr;
}

bool hasTypes(Overload const& overload, std::span<GenericIf const> arguments)
{
   return std::equal(
      overload.arguments.begin(), overload.arguments.end(), arguments.begin(), arguments.end(),
      [](TypeRef wanted, GenericIf const& given) { return given.holds(wanted); });
}

// Apart, so that reading keeps no room for the texts.
[[noreturn, gnu::noinline]] void refuseToRead(KroAttr const& attr, TypeRef object)
{
   if (!has(object, attr)) {
      throw TypeException(Orvo::join("a slot of type '", nameOf(object), "' has no such attribute '", attr.name, "'"));
   }
   throw TypeException(Orvo::join("attribute '", attr.name, "' cannot be read like a value"));
}

} // namespace

void GenericIfImpl::throwTypeException(TypeRef actual, TypeRef wanted)
{
   throw TypeException(Orvo::join("a slot of type '", nameOf(actual), "' cannot be used as '", nameOf(wanted), "'"));
}

void GenericIfImpl::throwUnhashableException(TypeData const& type)
{
   throw UnhashableException(Orvo::join("a value of type '", type.name, "' has no hash"));
}

GenericIf GenericIf::ofNode(Orvo::Node& node) noexcept
{
   return GenericIf({&node.typeData(), Form::plain}, &node);
}

void GenericIf::refuse(TypeRef wanted) const
{
   GenericIfImpl::throwTypeException(slot_ != nullptr ? type_ : TypeRef{}, wanted);
}

void KroAttr::genericIfGet(GenericIf const& object, GenericIf const& out) const
{
   if (get == nullptr || !has(object.type(), *this)) [[unlikely]] {
      refuseToRead(*this, object.type());
   }
   if (kind != Kind::statics) {
      object.typeIs(object.type());
   }
   out.typeIs(type);
   get(object.voidPtr(), out.voidPtr());
}

std::uint64_t GenericIf::hash() const
{
   if (type_.type == nullptr || type_.form != Form::plain || slot_ == nullptr) {
      refuse({type_.type, Form::plain});
   }
   if (type_.type->ops.hash == nullptr) {
      GenericIfImpl::throwUnhashableException(*type_.type);
   }
   return type_.type->ops.hash(slot_);
}

AccessResult GenericIf::callOne(
   std::span<Overload const> overloads, std::span<GenericIf const> arguments, GenericIf const& result) const
{
   auto const overload =
      std::find_if(overloads.begin(), overloads.end(), [&](Overload const& one) { return hasTypes(one, arguments); });
   if (overload == overloads.end()) {
      return notAllowed;
   }
   if (result.slot_ != nullptr) {
      result.typeIs(overload->result);
   }
   constexpr std::size_t usual = 8;
   std::array<void*, usual> few{};
   std::vector<void*> many(arguments.size() > usual ? arguments.size() : 0);
   void** const slots = many.empty() ? few.data() : many.data();
   std::transform(arguments.begin(), arguments.end(), slots, [](GenericIf const& one) { return one.slot_; });
   overload->call(slot_, slots, result.slot_);
   return success;
}

AccessResult GenericIf::call(int number, std::span<GenericIf const> arguments, GenericIf const& result) const
{
   auto const* attr = findAttr(number);
   if (attr == nullptr) {
      return noSuchAttribute;
   }
   if (attr->overloads.empty() || (slot_ == nullptr && attr->kind != Kind::statics)) {
      return notAllowed;
   }
   return callOne(attr->overloads, arguments, result);
}

AccessResult GenericIf::call(int number, std::span<GenericIf const> arguments) const
{
   return call(number, arguments, GenericIf(TypeRef{}));
}

AccessResult GenericIf::mutate(
   int number, std::span<Overload const> CollectionOps::*role, std::span<GenericIf const> arguments,
   GenericIf const& result) const
{
   auto const* attr = findAttr(number);
   if (attr == nullptr) {
      return noSuchAttribute;
   }
   if (attr->collection == nullptr || slot_ == nullptr) {
      return notAllowed;
   }
   return callOne(attr->collection->*role, arguments, result);
}

AccessResult GenericIf::collectionIs(int number, std::span<GenericIf const> arguments) const
{
   return mutate(number, &CollectionOps::is, arguments, GenericIf(TypeRef{}));
}

AccessResult GenericIf::collectionDel(int number, std::span<GenericIf const> arguments, GenericIf const& result) const
{
   return mutate(number, &CollectionOps::del, arguments, result);
}

AccessResult GenericIf::collectionDelAll(int number) const
{
   return mutate(number, &CollectionOps::delAll, {}, GenericIf(TypeRef{}));
}

} // namespace Kro
