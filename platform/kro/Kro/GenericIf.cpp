#include <Kro/GenericIf.h>

#include <Kro/Cast.h>
#include <Kro/Exception.h>
#include <Kro/OverloadCall.h>

#include <Orvo/Node.h>

#include <algorithm>
#include <functional>

namespace Kro {
namespace {

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

void GenericIf::refuse(TypeRef type, void const* slot, TypeRef wanted)
{
   GenericIfImpl::throwTypeException(slot != nullptr ? type : TypeRef{}, wanted);
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
   if (out.isReadOnly()) [[unlikely]] {
      throw TypeException(Orvo::join("attribute '", name, "' cannot be read into a slot that is for reading alone"));
   }
   get(object.voidPtr(), out.voidPtr());
}

GenericIf GenericIf::pointee() const noexcept
{
   if (type_.form == Form::plain || slot_ == nullptr) {
      return GenericIf(TypeRef{});
   }
   // An Orvo::Ptr<T> holds a T*.
   auto* const entity = *static_cast<void**>(slot_);
   if (entity == nullptr) {
      return GenericIf(TypeRef{});
   }
   if (!type_.type->isPolymorphic()) {
      return GenericIf({type_.type, Form::plain}, entity);
   }
   return ofNode(*type_.type->pointer.toNode(entity));
}

GenericIf GenericIf::ofShownNode(void const* slot) noexcept
{
   auto const* const node = *static_cast<Orvo::Node const* const*>(slot);
   return node != nullptr ? ofNode(const_cast<Orvo::Node&>(*node)) : GenericIf(TypeRef{});
}

AccessResult GenericIf::findCollection(int number, KroAttr const*& attr) const noexcept
{
   attr = findAttr(number);
   if (attr == nullptr) {
      return noSuchAttribute;
   }
   bool const isStored = attr->collection != nullptr && attr->collection->visit != nullptr;
   return isStored && slot_ != nullptr ? success : notAllowed;
}

AccessResult GenericIf::size(int number, std::size_t& size) const
{
   KroAttr const* attr = nullptr;
   auto const result = findCollection(number, attr);
   if (result == success) {
      size = attr->collection->size(slot_);
   }
   return result;
}

void GenericIf::relatedTypeIs(TypeData const& wanted) const
{
   if (slot_ == nullptr || type_.form != Form::plain || type_.type == nullptr || !type_.type->isPolymorphic()) {
      refuse(type_, slot_, {&wanted, Form::plain});
   }
   polymorphicCast(*type_.type, *static_cast<Orvo::Node*>(slot_), wanted);
}

bool GenericIf::isEqual(GenericIf const& other) const
{
   constexpr auto isEntity = [](GenericIf const& one) {
      return one.slot_ != nullptr && one.type_.form == Form::plain && one.type_.type != nullptr &&
             one.type_.type->isPolymorphic();
   };
   if (isEntity(*this) && isEntity(other)) {
      return slot_ == other.slot_;
   }
   typeIs(other.type_);
   other.typeIs(type_);
   if (type_.form != Form::plain) {
      return *static_cast<void**>(slot_) == *static_cast<void**>(other.slot_);
   }
   if (type_.type == nullptr || type_.type->ops.equal == nullptr) {
      throw TypeException(Orvo::join("values of type '", nameOf(type_), "' cannot be compared"));
   }
   return type_.type->ops.equal(slot_, other.slot_);
}

std::uint64_t GenericIf::hash() const
{
   if (type_.type == nullptr || type_.form != Form::plain || slot_ == nullptr) {
      refuse(type_, slot_, {type_.type, Form::plain});
   }
   if (type_.type->ops.hash == nullptr) {
      GenericIfImpl::throwUnhashableException(*type_.type);
   }
   return type_.type->ops.hash(slot_);
}

AccessResult GenericIf::callOne(
   std::span<Overload const> overloads, std::span<GenericIf const> arguments, GenericIf const& result) const
{
   auto const* overload = Detail::findOverload(overloads, arguments);
   if (overload == nullptr || (isReadOnly_ && !overload->isConst)) {
      return notAllowed;
   }
   if (result.slot_ != nullptr) {
      result.typeIs(overload->result);
      if (result.isReadOnly_) {
         return notAllowed;
      }
   }
   Detail::callOverload(*overload, slot_, arguments, result.slot_);
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
   if (attr->collection == nullptr || slot_ == nullptr || isReadOnly_) {
      return notAllowed;
   }
   return callOne(attr->collection->*role, arguments, result);
}

AccessResult GenericIf::collectionIs(int number, std::span<GenericIf const> arguments, GenericIf const& result) const
{
   return mutate(number, &CollectionOps::is, arguments, result);
}

AccessResult GenericIf::collectionIs(int number, std::span<GenericIf const> arguments) const
{
   return mutate(number, &CollectionOps::is, arguments, GenericIf(TypeRef{}));
}

AccessResult GenericIf::collectionDel(int number, std::span<GenericIf const> arguments, GenericIf const& result) const
{
   return mutate(number, &CollectionOps::del, arguments, result);
}

AccessResult GenericIf::collectionDel(int number, std::span<GenericIf const> arguments) const
{
   return mutate(number, &CollectionOps::del, arguments, GenericIf(TypeRef{}));
}

AccessResult GenericIf::collectionDelAll(int number) const
{
   return mutate(number, &CollectionOps::delAll, {}, GenericIf(TypeRef{}));
}

} // namespace Kro
