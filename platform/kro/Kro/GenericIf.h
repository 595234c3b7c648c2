#pragma once

#include <Kro/KroType.h>
#include <Kro/ObjectAddress.h>
#include <Kro/TypeOf.h>

#include <concepts>
#include <cstddef>
#include <span>
#include <string_view>

namespace Orvo {
class Node;
}

namespace Kro {

/// The generic interface: one slot of known type, through which the object in it is read and written by number or name,
/// and called by number.
///
/// Ownership: borrows the object; keep it alive. Threads: like the object's own.
/// Errors: number and access errors are result codes (`AccessResult`); a slot of another type raises TypeException, and
/// nothing has changed; an exception of the invoked operation itself passes through. A slot that is bound to nothing
/// (`voidPtr()` is null) counts as one of no type; through an object that is not bound only statics can be reached.
class KRO_EXPORT GenericIf {
public:
   explicit constexpr GenericIf(TypeRef type, void* slot = nullptr) noexcept : type_(type), slot_(slot) {}

   /// @return the interface of a slot: a variable of type T, Orvo::Ptr<T> or T*
   template <class Slot>
   static GenericIf of(Slot& slot)
   {
      return GenericIf(typeRefOf<Slot>(), Detail::addressOf(&slot));
   }

   /// @return the interface of a slot that is for reading alone, for instance an argument; a temporary one lives to the end
   ///         of the full expression
   template <class Slot>
   static GenericIf of(Slot const& slot)
   {
      return forReading(typeRefOf<Slot>(), Detail::addressOf(const_cast<Slot*>(&slot)));
   }

   /// @return the interface of a live node, by its own type
   static GenericIf ofNode(Orvo::Node& node) noexcept;

   /// Binds another object of this interface's type: the address of a value, or of an entity's `Orvo::Node`.
   void voidPtrIs(void* slot) noexcept
   {
      slot_ = slot;
      isReadOnly_ = false;
   }

   void* voidPtr() const noexcept { return slot_; }

   TypeRef type() const noexcept { return type_; }

   /// @return the type of the object or, for a pointer slot, of what it points to; there must be a type
   KroType const& fwkType() const noexcept
   {
      // Every record is defined as a KroType.
      return static_cast<KroType const&>(*type_.type);
   }

   /// @return whether it is for reading alone: writing, mutators and what is not const are `notAllowed`; only a getter that is
   ///         not const is still called
   bool isReadOnly() const noexcept { return isReadOnly_; }

   /// @return the interface of what a pointer slot points to, of an entity by the entity's own type; bound to nothing when
   ///         the pointer is null, or this is no pointer slot
   GenericIf pointee() const noexcept;

   /// @return whether it is bound to a slot of exactly this type
   bool holds(TypeRef wanted) const noexcept { return type_ == wanted && slot_ != nullptr; }

   /// @throws TypeException unless it is bound to a slot of exactly this type
   void typeIs(TypeRef wanted) const
   {
      if (!holds(wanted)) [[unlikely]] {
         refuse(type_, slot_, wanted);
      }
   }

   /// Reads a value, or a computed or static attribute without arguments, into `out`, whose slot must be of exactly the
   /// attribute's type. Cost: a few compares and an indirect call; allocates nothing of its own.
   AccessResult get(int number, GenericIf const& out) const { return getAttr(findAttr(number), out); }

   AccessResult get(std::string_view name, GenericIf const& out) const { return getAttr(findAttr(name), out); }

   /// Writes an attribute from `in`, whose slot must be of exactly the attribute's type.
   AccessResult set(int number, GenericIf const& in) const { return setAttr(findAttr(number), in); }

   AccessResult set(std::string_view name, GenericIf const& in) const { return setAttr(findAttr(name), in); }

   /// Calls an operation, computed, static or reactor: the overload whose argument types are exactly those given.
   /// `result` may be unbound: the result is dropped. `notAllowed`: there is no such overload.
   AccessResult call(int number, std::span<GenericIf const> arguments, GenericIf const& result) const;
   AccessResult call(int number, std::span<GenericIf const> arguments = {}) const;

   /// Creates or replaces, removes by key, empties: the owner's own mutators, with their arguments. `notAllowed`: the
   /// attribute is no collection, or has no mutator with these arguments.
   AccessResult collectionIs(int number, std::span<GenericIf const> arguments, GenericIf const& result) const;
   AccessResult collectionIs(int number, std::span<GenericIf const> arguments) const;
   AccessResult collectionDel(int number, std::span<GenericIf const> arguments, GenericIf const& result) const;
   AccessResult collectionDel(int number, std::span<GenericIf const> arguments) const;
   AccessResult collectionDelAll(int number) const;

   /// @param size the number of elements; unchanged unless `success` is returned
   AccessResult size(int number, std::size_t& size) const;

   /// Walks a collection in its order. `see(key, element)` gets the interface of each key and element and returns whether to go
   /// on; an entity is shown by its own type, a value for reading alone (`collectionIs` changes it), the element of a set is
   /// bound to nothing. The walk survives changes that `see` makes.
   template <class See>
   AccessResult visit(int number, See&& see) const;

   /// Shows the element under a key to `see(element)`, if there is one.
   template <class See>
   AccessResult find(int number, GenericIf const& key, See&& see) const;

   /// @return whether two values are equal, or two entities, by whatever types they are known, the same one; pointers are
   ///         equal when they point to the same
   /// @throws TypeException when the slots are of different types, or bound to nothing; or when there is no equality
   bool isEqual(GenericIf const& other) const;

   /// @return the hash of the value in the slot, consistent with equality
   /// @throws UnhashableException when its type has none; TypeException when the slot is a pointer, or bound to nothing
   std::uint64_t hash() const;

   /// @return the slot as a T, which is not to be written when it is for reading alone; an entity also as a type that its
   ///         own type inherits from
   /// @throws TypeException when it is of an unrelated type, or bound to nothing
   template <class T>
   T& as() const
   {
      if constexpr (std::derived_from<T, Orvo::Node>) {
         if (!holds(typeRefOf<T>())) {
            relatedTypeIs(*typeOf<T>());
         }
      } else {
         typeIs(typeRefOf<T>());
      }
      return Detail::objectOf<T>(slot_);
   }

private:
   /// A pointer, and what has no type, has no attributes.
   KroAttr const* findAttr(auto numberOrName) const noexcept
   {
      // Every record is defined as a KroType.
      return type_.form == Form::plain && type_.type != nullptr
                ? static_cast<KroType const*>(type_.type)->findAttr(numberOrName)
                : nullptr;
   }

   AccessResult getAttr(KroAttr const* attr, GenericIf const& out) const
   {
      if (attr == nullptr) {
         return noSuchAttribute;
      }
      if (attr->get == nullptr || out.isReadOnly_ || (slot_ == nullptr && attr->kind != Kind::statics)) {
         return notAllowed;
      }
      out.typeIs(attr->type);
      attr->get(slot_, out.slot_);
      return success;
   }

   AccessResult setAttr(KroAttr const* attr, GenericIf const& in) const
   {
      if (attr == nullptr) {
         return noSuchAttribute;
      }
      if (attr->set == nullptr || slot_ == nullptr || isReadOnly_) {
         return notAllowed;
      }
      in.typeIs(attr->type);
      attr->set(slot_, in.slot_);
      return success;
   }

   /// What a visitor shows: an entity by its own type, a value for reading alone.
   static GenericIf ofShown(TypeRef type, void const* slot) noexcept
   {
      return slot == nullptr || type.form == Form::plain ? forReading(type, slot) : ofShownNode(slot);
   }

   static GenericIf forReading(TypeRef type, void const* slot) noexcept
   {
      GenericIf reader(type, const_cast<void*>(slot));
      reader.isReadOnly_ = true;
      return reader;
   }

   static GenericIf ofShownNode(void const* slot) noexcept;

   AccessResult findCollection(int number, KroAttr const*& attr) const noexcept;

   /// @throws TypeException unless it is bound to an entity that inherits from the type
   void relatedTypeIs(TypeData const& wanted) const;

   /// Takes members rather than the object, which then can stay in registers.
   [[noreturn]] static void refuse(TypeRef type, void const* slot, TypeRef wanted);
   AccessResult mutate(
      int number, std::span<Overload const> CollectionOps::*role, std::span<GenericIf const> arguments,
      GenericIf const& result) const;
   AccessResult
   callOne(std::span<Overload const> overloads, std::span<GenericIf const> arguments, GenericIf const& result) const;

   TypeRef type_;
   void* slot_;
   bool isReadOnly_ = false;
};

template <class See>
AccessResult GenericIf::visit(int number, See&& see) const
{
   KroAttr const* attr = nullptr;
   auto const result = findCollection(number, attr);
   if (result != success) {
      return result;
   }

   struct Walk {
      See& see;
      KroAttr const& attr;
   } walk{see, *attr};

   attr->collection->visit(
      slot_,
      [](void* context, void const* key, void const* element) {
         auto const& at = *static_cast<Walk*>(context);
         return at.see(ofShown(at.attr.collection->key, key), ofShown(at.attr.type, element));
      },
      &walk);
   return success;
}

template <class See>
AccessResult GenericIf::find(int number, GenericIf const& key, See&& see) const
{
   KroAttr const* attr = nullptr;
   auto const result = findCollection(number, attr);
   if (result != success) {
      return result;
   }
   key.typeIs(attr->collection->key);

   struct Found {
      See& see;
      KroAttr const& attr;
   } found{see, *attr};

   attr->collection->find(
      slot_, key.slot_,
      [](void* context, void const*, void const* element) {
         auto const& at = *static_cast<Found*>(context);
         at.see(ofShown(at.attr.type, element));
         return false;
      },
      &found);
   return success;
}

/// The framework's own errors of the generic interface.
struct KRO_EXPORT GenericIfImpl {
   /// @throws TypeException always
   [[noreturn]] static void throwTypeException(TypeRef actual, TypeRef wanted);
   /// @throws UnhashableException always
   [[noreturn]] static void throwUnhashableException(TypeData const& type);
};

} // namespace Kro
