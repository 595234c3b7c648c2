#pragma once

#include <Kro/NameIndex.h>
#include <Kro/RecordGlue.h>
#include <Kro/TableGlue.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <string>
#include <utility>

namespace Kro {

/// The attributes of T, written down once and checked while compiling:
///
///     struct Chunk::Declaration {   // nested, so that it may name private members
///        static constexpr auto table = Kro::table<Chunk>(
///           Kro::value<2, &Chunk::name_>("name"),
///           Kro::value<3, &Chunk::size_>("size", Kro::readOnly));
///     };
///     constinit Kro::KroType const Chunk::kroType = Kro::valueType<Chunk, Chunk::Declaration>("Chunk", &module);
///
/// Numbers out of order, a name used twice or empty and a reactor without its collection do not compile. A `Ptr<T const>` has no
/// slot type; a raw `T const*` counts as a `T*`.

/// A value held in a data member, or read by a getter (then read-only) when `member` is a function. In a value type a
/// getter that is not const must be `notCompared`.
template <std::int16_t N, auto member>
consteval auto value(std::string_view name, int flags = none)
{
   return Detail::ValueEntry<N, member>{{}, name, static_cast<std::uint8_t>(flags)};
}

/// The mutators of a collection: what creates or replaces, removes by key, empties. Each may have overloads.
template <auto... f>
using is = Detail::Mutators<Detail::Role::is, f...>;
template <auto... f>
using del = Detail::Mutators<Detail::Role::del, f...>;
template <auto... f>
using delAll = Detail::Mutators<Detail::Role::delAll, f...>;

/// A collection held in a data member, with the owner's own mutators: reflection takes the same road as a caller.
///
///     Kro::collection<2, &Group::chunk_, Kro::is<&Group::chunkIs>, Kro::del<&Group::chunkDel>,
///                     Kro::delAll<&Group::chunkDelAll>>("chunk")
template <std::int16_t N, auto member, class... Mutator>
consteval auto collection(std::string_view name, int flags = none)
{
   return Detail::CollectionEntry<N, member, Mutator...>{{}, name, static_cast<std::uint8_t>(flags)};
}

/// A collection whose entries live in device memory: no storage, only the entry's own table behind it.
template <std::int16_t N, class Entry>
consteval auto entries(std::string_view name)
{
   return Detail::EntriesEntry<N, Entry>{{}, name, readOnly};
}

/// A field of such an entry: its bytes lie in device memory, `member` gives their number.
template <std::int16_t N, auto member>
consteval auto field(std::string_view name)
{
   return Detail::FieldEntry<N, member>{{}, name, readOnly | notCompared};
}

/// Member functions under one number; overloads are picked by the types of the arguments.
template <std::int16_t N, auto... f>
consteval auto operation(std::string_view name)
{
   return Detail::CallEntry<N, Kind::operation, f...>{{}, name, readOnly};
}

/// Read-only values that are worked out when they are asked for; the one without arguments can be read like a value.
template <std::int16_t N, auto... f>
consteval auto computed(std::string_view name)
{
   return Detail::CallEntry<N, Kind::computed, f...>{{}, name, readOnly};
}

/// Static member functions (or free ones).
template <std::int16_t N, auto... f>
consteval auto statics(std::string_view name)
{
   return Detail::CallEntry<N, Kind::statics, f...>{{}, name, readOnly};
}

/// `handleX`, which belongs to the collection `x` of the same table.
template <std::int16_t N, auto f>
consteval auto reactor(std::string_view name)
{
   return Detail::CallEntry<N, Kind::reactor, f>{{}, name, readOnly};
}

/// Picks one of several member functions of a name by its parameters: `Kro::overload<int>(&Group::chunkInternalDel)`.
template <class... A>
inline constexpr Detail::Overloaded<A...> overload{};

/// The checked attributes of T. Made by `table`.
template <class T, class Base, class... Entry>
struct Table {
   static_assert(sizeof...(Entry) != 0, "a table has at least one attribute");
   static_assert(
      sizeof...(Entry) <= 128, "a table has at most 128 attributes"); // what compilers evaluate without options
   static_assert(std::is_void_v<Base> || std::derived_from<T, Base>, "attributes are inherited from a base class");

   static constexpr std::size_t count = sizeof...(Entry);
   static constexpr std::int16_t first = std::min({Entry::number...});
   static constexpr std::size_t span = static_cast<std::size_t>(std::max({Entry::number...}) - first) + 1;
   /// Numbers far apart are searched instead of being looked up.
   static constexpr bool isDense = span <= 256;

   std::array<KroAttr, count> attrs;
   std::array<std::uint8_t, isDense ? span : 0> byNumber{};
   Detail::NameSlots<count> names;

   consteval explicit Table(Entry const&... entry) : attrs{entry.template attr<T>()...}, names(named(attrs))
   {
      byNumber.fill(noAttribute);
      for (std::size_t i = 0; i < count; ++i) {
         if (i != 0 && attrs[i].number <= attrs[i - 1].number) {
            throw "attribute numbers must ascend";
         }
         if (attrs[i].name.empty()) {
            throw "an attribute has a name";
         }
         if (attrs[i].name.find_first_of("(){},=\"") != std::string_view::npos) {
            throw "an attribute's name holds nothing that parts or closes values";
         }
         for (std::size_t k = 0; k < i; ++k) {
            if (attrs[k].ends == attrs[i].ends && attrs[k].name == attrs[i].name) {
               throw "attribute name used twice";
            }
         }
         if (attrs[i].kind == Kind::reactor && !watchesCollection(attrs[i].name)) {
            throw "a reactor is named handle and the name of a collection of its table";
         }
         if constexpr (isDense) {
            byNumber[static_cast<std::size_t>(attrs[i].number - first)] = static_cast<std::uint8_t>(i);
         }
      }
   }

private:
   static constexpr std::array<KroAttr, count> const& named(std::array<KroAttr, count>& attrs)
   {
      for (auto& attr : attrs) {
         attr.ends = Detail::NameEnds(attr.name);
      }
      return attrs;
   }

   constexpr bool watchesCollection(std::string_view reactor) const
   {
      return std::any_of(attrs.begin(), attrs.end(), [&](KroAttr const& attr) {
         return attr.kind == Kind::collection && reactor.size() == attr.name.size() + 6 &&
                reactor.substr(0, 6) == "handle" && reactor[6] == attr.name[0] - 'a' + 'A' &&
                reactor.substr(7) == attr.name.substr(1);
      });
   }
};

/// The table of T; `Base` is the registered type whose attributes T, an entity type, inherits.
template <class T, class Base = void, class... Entry>
consteval auto table(Entry const&... entry)
{
   return Table<T, Base, Entry...>(entry...);
}

/// Equality of two values by their table: same object, else values, else collections, each in table order.
template <class T, class Declaration>
bool equal(T const& a, T const& b)
{
   return Detail::GlueOf<T, Declaration>::equal(a, b);
}

/// Reads the text form of a T by its table, attribute by attribute, and to the end of the range: the body of the text
/// constructor. Attributes have to be data members.
///
/// @throws ParseException, after which attributes that came before hold what was read.
/// Ends the process when T has collections: "No String constructor for <name of T> - has collection".
template <class T, class Declaration>
void readByTable(CharRange& text, T& value)
{
   Detail::GlueOf<T, Declaration>::read(text, value);
}

/// A constructor of T that reflection can call, by its parameters: an argument of `valueType` and `entityType`. Without any,
/// it is the one whose parameters are its own attributes marked `ctorArg`, in table order; without such attributes the
/// default constructor, or, for an entity type, the one from a name.
template <class... Argument>
using constructor = Detail::Constructor<Argument...>;

/// A function that makes an entity, in the place of a constructor.
template <auto f>
using constructorFunction = Detail::ConstructorFunction<f>;

/// The record of a value type: copied, compared, printed and read by its table; hashable when T has `hash()`. T's own text
/// constructor, `explicit T(Kro::CharRange&)`, is used for reading if it has one.
template <class T, class Declaration, class... Constructor>
consteval KroType valueType(std::string_view name, KroModule const* module)
{
   using Glue = Detail::GlueOf<T, Declaration>;
   static_assert(std::is_void_v<typename Glue::BaseType>, "a value type inherits no attributes");
   if (name.find_first_of("(){},=\"") != std::string_view::npos) {
      throw "a value type's name holds nothing that parts or closes values";
   }
   auto data = Glue::record(name, module, TypeKind::value);
   data.ops = Detail::valueOps<T>();
   data.ops.equal = Glue::equalErased;
   data.ops.read = Glue::reader();
   data.constructors = Glue::template constructors<Constructor...>();
   return KroType(data);
}

/// The record of a value type that has no attributes and no text, a function pointer for instance. Where T cannot carry its
/// record, `TypeRecord<T>` names it.
template <class T>
consteval KroType plainType(std::string_view name, KroModule const* module)
{
   TypeData data;
   data.name = name;
   data.module = module;
   data.kind = TypeKind::value;
   data.size = sizeof(T);
   data.alignment = alignof(T);
   data.ops = Detail::valueOps<T>();
   data.ops.equal = [](void const* a, void const* b) { return *static_cast<T const*>(a) == *static_cast<T const*>(b); };
   return KroType(data);
}

/// The record of an entry of a device's collection: fields with sizes, no object in this process.
template <class T, class Declaration>
consteval KroType entryType(std::string_view name, KroModule const* module)
{
   return KroType(Detail::GlueOf<T, Declaration>::record(name, module, TypeKind::value));
}

/// The record of an entity type. One that is a Kro::Entity and constructible from a name can be created in a directory.
template <class T, class Declaration, class... Constructor>
consteval KroType entityType(std::string_view name, KroModule const* module)
{
   using Glue = Detail::GlueOf<T, Declaration>;
   static_assert(std::derived_from<T, Orvo::Node>, "an entity type is a reference-counted node");
   auto data = Glue::record(name, module, TypeKind::entity);
   data.pointer = Detail::pointerOps<T>;
   data.constructors = Glue::template constructors<Constructor...>();
   if constexpr (Detail::isNamed<T>) {
      data.make = [](Orvo::String const& entityName) -> Orvo::Ptr<Entity> { return Detail::made<T>(entityName); };
   }
   return KroType(data);
}

} // namespace Kro
