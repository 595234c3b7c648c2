#pragma once

// How one entry of a declaration table becomes constant data. Authors of types read Table.h alone.

#include <Kro/CallGlue.h>

#include <cstddef>
#include <type_traits>

namespace Kro::Detail {

/// A value as visitors see it: itself, or, if it is a pointer, the plain address of the node.
template <class Value>
class Shown {
public:
   explicit Shown(Value const& value) : value_(value) {}

   void const* slot() const { return &value_; }

private:
   Value const& value_;
};

template <class Value>

requires(typeRefOf<Value>().form != Form::plain) class Shown<Value> {
public:
   explicit Shown(Value const& value) : node_(value != nullptr ? &*value : nullptr) {}

   void const* slot() const { return &node_; }

private:
   Orvo::Node const* node_;
};

/// Assigns; what is not copied by its bytes alone by code for each type of value, not for each attribute.
template <class Value>
[[gnu::noinline]] void assignApart(Value& to, Value const& from)
{
   to = from;
}

template <class Value>
void assignValue(Value& to, Value const& from)
{
   if constexpr (std::is_trivially_copy_assignable_v<Value>) {
      to = from;
   } else {
      assignApart(to, from);
   }
}

template <class M>
struct MemberOf;

template <class C, class V>
struct MemberOf<V C::*> {
   using Value = V;
};

/// The type of a field in device memory: a registered one, or bytes.
template <class V>
consteval TypeRef fieldTypeOf()
{
   if constexpr (HasRecord<V>) {
      return {typeOf<V>(), Form::plain};
   } else {
      return {&Leaf::bytes, Form::plain};
   }
}

/// What every entry has.
template <std::int16_t N, Kind k>
struct EntryBase {
   static constexpr std::int16_t number = N;
   static constexpr Kind kind = k;

   /// Whether the attribute is the same in both objects; entries without data have no say.
   template <class T>
   static bool same(T const& /*a*/, T const& /*b*/)
   {
      return true;
   }
};

/// The type of the value that a data member holds or a getter gives.
template <auto member, bool isData = std::is_member_object_pointer_v<decltype(member)>>
struct ValueOf {
   using Type = std::remove_const_t<typename MemberOf<decltype(member)>::Value>;
};

template <auto member>
struct ValueOf<member, false> {
   using Type = std::remove_cvref_t<typename Signature<decltype(member)>::Result>;
};

template <std::int16_t N, auto member>
struct ValueEntry : EntryBase<N, Kind::value> {
   static constexpr auto data = member;
   using Value = typename ValueOf<member>::Type;

   /// Whether reading from text can put a value there: into a data member, of a type that has a text form.
   static constexpr bool isReadable = [] {
      if constexpr (std::is_member_object_pointer_v<decltype(member)>) {
         return std::is_same_v<Value, typename MemberOf<decltype(member)>::Value> && HasRecord<Value>;
      } else {
         return false;
      }
   }();

   std::string_view name;
   std::uint8_t flags;

   template <class T>
   static bool same(T const& a, T const& b)
   {
      if constexpr (std::is_member_object_pointer_v<decltype(member)>) {
         return a.*member == b.*member;
      } else if constexpr (Signature<decltype(member)>::isMember) {
         return (a.*member)() == (b.*member)();
      } else {
         return true; // a static getter says nothing of one object
      }
   }

   template <class T>
   consteval KroAttr attr() const
   {
      KroAttr attr{N, Kind::value, flags, name};
      if constexpr (std::is_member_object_pointer_v<decltype(member)>) {
         attr.type = typeRefOf<Value>();
         attr.size = sizeof(Value);
         attr.get = [](void const* object, void* out) {
            assignValue(*static_cast<Value*>(out), objectOf<T>(object).*member);
         };
         attr.show = [](void const* object, Visitor visitor, void* context) {
            visitor(context, nullptr, Shown(objectOf<T>(object).*member).slot());
         };
         if constexpr (std::is_const_v<typename MemberOf<decltype(member)>::Value>) {
            attr.flags |= readOnly;
         } else {
            if ((flags & readOnly) == 0) {
               attr.set = [](void* object, void const* in) {
                  assignValue(objectOf<T>(object).*member, *static_cast<Value const*>(in));
               };
            }
         }
      } else {
         attr.flags |= readOnly;
         attr.type = typeRefOf<Value>();
         // A getter that creates on first use is a member of a modifiable object.
         attr.get = [](void const* object, void* out) { call<T, member>(const_cast<void*>(object), nullptr, out); };
         attr.show = [](void const* object, Visitor visitor, void* context) {
            Value value;
            call<T, member>(const_cast<void*>(object), nullptr, &value);
            visitor(context, nullptr, Shown(value).slot());
         };
      }
      return attr;
   }
};

template <std::int16_t N, auto member>
struct FieldEntry : EntryBase<N, Kind::value> {
   std::string_view name;
   std::uint8_t flags;

   template <class T>
   consteval KroAttr attr() const
   {
      using Value = typename MemberOf<decltype(member)>::Value;
      KroAttr attr{N, Kind::value, flags, name};
      attr.type = fieldTypeOf<Value>();
      attr.size = sizeof(Value);
      return attr;
   }
};

template <std::int16_t N, Kind k, auto... f>
struct CallEntry : EntryBase<N, k> {
   std::string_view name;
   std::uint8_t flags;

   template <class T>
   consteval KroAttr attr() const
   {
      KroAttr attr{N, k, flags, name};
      attr.overloads = Overloads<T, f...>::list;
      attr.type = attr.overloads.front().result;
      if constexpr (k == Kind::computed || k == Kind::statics) {
         (readsBy<T, f>(attr), ...);
      }
      return attr;
   }

private:
   /// What takes no arguments and has a result can be read like a value.
   template <class T, auto one>
   static consteval void readsBy(KroAttr& attr)
   {
      using Of = Signature<decltype(one)>;
      if constexpr (Of::argumentTypes.empty() && !std::is_void_v<typename Of::Result>) {
         attr.type = typeRefOf<typename Of::Result>();
         attr.get = [](void const* object, void* out) { call<T, one>(const_cast<void*>(object), nullptr, out); };
      }
   }
};

enum class Role { is, del, delAll };

template <Role role, auto... f>
struct Mutators {
   template <class T>
   static consteval void addTo(CollectionOps& ops)
   {
      auto& list = role == Role::is ? ops.is : role == Role::del ? ops.del : ops.delAll;
      list = Overloads<T, f...>::list;
   }
};

template <class Collection>
constexpr bool isSet = std::is_void_v<typename Collection::mapped_type>;

/// The members are their own nodes: walking gives the member, not a slot that holds a pointer to it.
template <class Collection>
constexpr bool isIntrusive =
   std::is_pointer_v<typename Collection::mapped_type> && !std::is_pointer_v<typename Collection::value_type>;

template <class Collection>
struct ElementOf {
   using Type = typename Collection::mapped_type;
};
template <class Collection>
requires isSet<Collection>

struct ElementOf<Collection> {
   using Type = typename Collection::key_type;
};

template <class T, auto member, class... Mutator>
struct CollectionGlue {
   using Collection = typename MemberOf<decltype(member)>::Value;
   using Key = typename Collection::key_type;

   static std::size_t size(void const* object) { return (objectOf<T>(object).*member).size(); }

   static void visit(void const* object, Visitor visitor, void* context)
   {
      auto const& all = objectOf<T>(object).*member;
      for (auto at = all.begin(); at != all.end(); ++at) {
         Key const key = at.key();
         if (!show(at, key, visitor, context)) {
            return;
         }
      }
   }

   static void find(void const* object, void const* key, Visitor visitor, void* context)
   {
      auto const& all = objectOf<T>(object).*member;
      Key const& wanted = *static_cast<Key const*>(key);
      if constexpr (isSet<Collection>) {
         if (all.contains(wanted)) {
            visitor(context, Shown(wanted).slot(), nullptr);
         }
      } else if (auto const* element = all.find(wanted)) {
         show(element, wanted, visitor, context);
      }
   }

   static bool show(auto const& at, Key const& key, Visitor visitor, void* context)
   {
      if constexpr (isSet<Collection>) {
         return visitor(context, Shown(key).slot(), nullptr);
      } else if constexpr (isIntrusive<Collection>) {
         return visitor(context, Shown(key).slot(), Shown(&*at).slot());
      } else {
         return visitor(context, Shown(key).slot(), Shown(*at).slot());
      }
   }

   static consteval CollectionOps make()
   {
      CollectionOps ops{};
      ops.order = Collection::isOrdered ? Order::ordered : Order::hash;
      ops.isSet = isSet<Collection>;
      ops.key = typeRefOf<Key>();
      ops.size = size;
      ops.visit = visit;
      ops.find = find;
      (Mutator::template addTo<T>(ops), ...);
      return ops;
   }
};

template <class T, auto member, class... Mutator>
inline constexpr CollectionOps collectionOps = CollectionGlue<T, member, Mutator...>::make();

template <std::int16_t N, auto member, class... Mutator>
struct CollectionEntry : EntryBase<N, Kind::collection> {
   using Collection = typename MemberOf<decltype(member)>::Value;

   std::string_view name;
   std::uint8_t flags;

   template <class T>
   static bool same(T const& a, T const& b)
   {
      return a.*member == b.*member;
   }

   template <class T>
   consteval KroAttr attr() const
   {
      KroAttr attr{N, Kind::collection, flags, name};
      attr.type = typeRefOf<typename ElementOf<Collection>::Type>();
      attr.size = sizeof(Collection);
      attr.collection = &collectionOps<T, member, Mutator...>;
      return attr;
   }
};

template <std::int16_t N, class Entry>
struct EntriesEntry : EntryBase<N, Kind::collection> {
   static constexpr CollectionOps ops{
      Order::ordered, false, typeRefOf<std::uint32_t>(), nullptr, nullptr, nullptr, {}, {}, {}};

   std::string_view name;
   std::uint8_t flags;

   template <class T>
   consteval KroAttr attr() const
   {
      KroAttr attr{N, Kind::collection, flags, name};
      attr.type = typeRefOf<Entry>();
      attr.collection = &ops;
      return attr;
   }
};

} // namespace Kro::Detail
