#pragma once

#include <Kro/Export.h>
#include <Kro/NameEnds.h>

#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Orvo {
class Node;
}

namespace Kro {

class CharRange;
class Entity;
class TextBuffer;
struct KroAttr;
struct KroModule;
struct TypeData;

/// What an attribute is.
enum class Kind : std::uint8_t {
   value,      ///< data that can be read, and written unless it is read-only
   collection, ///< elements under keys
   operation,  ///< a member procedure
   computed,   ///< a read-only value worked out on demand
   statics,    ///< belongs to the type: needs no instance
   reactor     ///< called when the collection that it watches has changed
};

/// Properties of an attribute, combined with `|`.
enum AttributeFlags : std::uint8_t {
   none = 0,
   readOnly = 1,    ///< cannot be written by reflection
   notCompared = 2, ///< takes no part in equality
   ctorArg = 4      ///< an argument of the constructor, which takes them in the order of the table
};

/// Results of reflective access by number.
enum AccessResult : int {
   success = 0,
   notAllowed = 1,     ///< the attribute does not allow this access, or not with these arguments
   noSuchAttribute = 2 ///< the type has no attribute of that number
};

/// How a slot holds a value of a type.
enum class Form : std::uint8_t {
   plain, ///< T
   ptr,   ///< Orvo::Ptr<T>
   raw    ///< T*
};

/// The exact type of a slot: two slots hold the same type when both members are equal.
struct TypeRef {
   TypeData const* type = nullptr;
   Form form = Form::plain;

   friend constexpr bool operator==(TypeRef const&, TypeRef const&) = default;
};

/// What can be done with a value without knowing its type. A null entry: the type does not allow it.
struct ValueOps {
   bool (*equal)(void const* a, void const* b);
   void (*assign)(void* to, void const* from);
   std::uint64_t (*hash)(void const* value);
   void (*appendText)(TextBuffer& text, void const* value); ///< leaf types alone; others print by their table
   /// Makes a value in the room at `to` from what stands at the begin of the range, and advances past it; a value type
   /// has to consume the range completely. Null when it could; else what was expected instead, the range stands
   /// there, and there is no value. A value type's reader throws ParseException itself.
   char const* (*read)(void* to, CharRange& text);
   void (*init)(void* to);                   ///< makes a default value in the room at `to`
   void (*copy)(void* to, void const* from); ///< makes a copy in the room at `to`
   void (*destroy)(void* value);             ///< ends a value that `read`, `init`, `copy` or a constructor made
};

/// One callable signature behind an attribute number.
struct Overload {
   std::span<TypeRef const> arguments;
   TypeRef result; ///< a null type: no result
   /// Calls it. `object` is null for a static; `arguments[i]` points to a slot of the i-th type; `result` may be null.
   void (*call)(void* object, void* const* arguments, void* result);
   bool isConst = false; ///< can be called on an object that is for reading alone
};

enum class Order : std::uint8_t {
   ordered, ///< ascending by integer key
   hash     ///< by hash of the key
};

/// Sees one element of a collection: slots of the key type and of the element type (null in a set). A pointer, of
/// either form, is shown as a slot of type `Orvo::Node const*`. Returning false ends the walk.
using Visitor = bool (*)(void* context, void const* key, void const* element);

/// A collection, reached without knowing its type. A collection whose entries live in device memory has no `size`.
struct CollectionOps {
   Order order;
   bool isSet;
   TypeRef key;
   std::size_t (*size)(void const* object);
   /// Walks in the collection's order and survives changes made by the visitor.
   void (*visit)(void const* object, Visitor visitor, void* context);
   /// Shows the element under a key (`key` points to a slot of the key type), if there is one.
   void (*find)(void const* object, void const* key, Visitor visitor, void* context);
   std::span<Overload const> is;     ///< creates or replaces
   std::span<Overload const> del;    ///< removes by key
   std::span<Overload const> delAll; ///< empties
};

/// A position at which there is no attribute.
inline constexpr std::uint8_t noAttribute = 0xff;

/// One attribute of a type. Constant data.
struct KroAttr {
   std::int16_t number = 0; ///< also its identifier in descriptions; unique in its type
   Kind kind = Kind::value;
   std::uint8_t flags = none;
   std::string_view name;
   TypeRef type{};                                       ///< of the value, of the element, or of the result
   std::uint32_t size = 0;                               ///< bytes of a stored field, 0 where nothing is stored
   void (*get)(void const* object, void* out) = nullptr; ///< copies into a slot of `type`; null: not readable
   void (*set)(void* object, void const* in) = nullptr;  ///< null: not writable
   /// Shows the value like an element without key, uncopied where it is stored; null: not readable.
   void (*show)(void const* object, Visitor visitor, void* context) = nullptr;
   std::span<Overload const> overloads{};     ///< of operations, computed, statics and reactors
   CollectionOps const* collection = nullptr; ///< of collections
   Detail::NameEnds ends{};                   ///< of the name

   /// Reads this attribute of the object behind `object` into the slot behind `out`.
   /// @throws TypeException when the slot is not of exactly this attribute's type, when the object's type does not have
   ///         this attribute, when either is bound to nothing, or when the attribute cannot be read
   KRO_EXPORT void genericIfGet(class GenericIf const& object, class GenericIf const& out) const;
};

/// What can be done with a pointer to an entity without knowing its type.
struct PointerOps {
   Orvo::Node* (*toNode)(void* entity); ///< from the address of a T to that of its Orvo::Node
   void* (*fromNode)(Orvo::Node* node); ///< back; the node must be a T
};

enum class TypeKind : std::uint8_t {
   leaf,  ///< number, text, flag: no attributes
   value, ///< copied, compared, printed
   entity ///< reference-counted node with identity
};

/// Where in a type's list an attribute stands, by its name. Constant data that is generated from the table.
struct NameIndex {
   /// Stands for the attributes of a type that has none; no name is its.
   static KRO_EXPORT KroAttr const noAttr;
   static constexpr std::uint8_t first = 0;

   KroAttr const* attrs = &noAttr;
   std::uint8_t const* slots = &first; ///< each the position of an attribute; a name has one slot
   std::uint64_t seed = 0;
   std::size_t mask = 0;  ///< number of slots, a power of two, less 1
   bool isPerfect = true; ///< no two names have the same slot: what is not in its slot is not there
};

/// The record of a type: constant data, one definition in the process, compared by address.
///
/// Objects are passed by `void*`: of a value type the address of the object, of an entity type the address of its
/// `Orvo::Node`.
struct TypeData {
   std::string_view name; ///< full name
   KroModule const* module = nullptr;
   TypeData const* base = nullptr; ///< whose attributes are inherited; null: none
   TypeKind kind = TypeKind::leaf;
   std::uint32_t size = 0;         ///< of an object, in bytes
   std::uint32_t alignment = 0;    ///< of an object, in bytes
   std::span<KroAttr const> attrs; ///< its own, in the order of declaration, numbers ascending
   /// Position in `attrs` of number firstNumber + i, or noAttribute; empty: to be searched for.
   std::span<std::uint8_t const> byNumber;
   std::int16_t firstNumber = 0;
   NameIndex names{}; ///< of its own attributes
   ValueOps ops{};
   PointerOps pointer{}; ///< of entity types
   /// How an object is made from arguments. The result of a value type is made in the room that `call` is given; the
   /// result of an entity type is an Orvo::Ptr, which must exist.
   std::span<Overload const> constructors;
   Orvo::Ptr<Entity> (*make)(Orvo::String const& name) = nullptr; ///< null: cannot be made from a name alone

   /// @return whether objects can be used as objects of a base type: entity types alone
   constexpr bool isPolymorphic() const noexcept { return kind == TypeKind::entity; }
};

} // namespace Kro
