#pragma once

#include <Kro/GenericIf.h>

#include <span>
#include <string_view>

namespace Kro {

/// A slot of its own for a value, or for a pointer to an entity, whose type is known at run time alone.
///
/// Ownership: the value, or the reference that an Orvo::Ptr keeps, ends with the slot.
/// Threads: like a variable of that type.
class KRO_EXPORT Slot {
public:
   /// Holds a default value, or a null pointer.
   /// @throws TypeException when the type has no default value
   explicit Slot(TypeRef type);

   ~Slot();
   Slot(Slot&& other) noexcept;
   Slot& operator=(Slot&& other) noexcept;
   Slot(Slot const&) = delete;
   Slot& operator=(Slot const&) = delete;

   /// Makes an object by the constructor whose parameters are exactly of the types given: a value, or an entity held by
   /// an Orvo::Ptr.
   ///
   /// @throws NewEntityArgsException when the type has no such constructor; it says which it has. What the constructor throws
   ///         passes through. Nothing has been made then.
   static Slot make(KroType const& type, std::span<GenericIf const> arguments = {});

   /// @return a copy of the value, or another reference to the same entity
   /// @throws TypeException when the slot is bound to nothing, or values of its type cannot be copied
   static Slot copyOf(GenericIf const& from);

   /// Reads a value from its text form, all of which must be used up.
   ///
   /// @throws ParseException when it is no text of this type; TypeException when values of the type cannot be read from text.
   /// Ends the process when the type has collections: "No String constructor for <name of the type> - has collection".
   static Slot read(TypeRef type, std::string_view text);

   /// @return an Orvo::Ptr of the type, which keeps a reference to the entity; a null one for a null entity
   /// @throws TypeException when the entity is of an unrelated type, or `type` is no entity type
   static Slot pointerTo(KroType const& type, Orvo::Node* entity);

   /// @return the interface of the slot (borrowed: valid while this slot lives and is not moved from)
   GenericIf genericIf() const noexcept { return GenericIf(type_, room_); }

   /// @return the interface of what can be worked with: of the value itself, or of the entity that the pointer points to, by
   ///         the entity's own type; bound to nothing when the pointer is null
   GenericIf object() const noexcept;

private:
   /// Room in which nothing has been made yet.
   struct Empty {};

   Slot(Empty, TypeRef type);

   void clear() noexcept;

   TypeRef type_;
   void* room_;
   bool isMade_ = false;
};

} // namespace Kro
