#include <Kro/LeafText.h>
#include <Kro/QuotedText.h>
#include <Kro/TypeOf.h>

#include <Orvo/String.h>

#include <functional>
#include <memory>
#include <new>

namespace Kro::Leaf {
namespace {

template <class T>
bool equal(void const* a, void const* b)
{
   return *static_cast<T const*>(a) == *static_cast<T const*>(b);
}

template <class T>
void assign(void* to, void const* from)
{
   *static_cast<T*>(to) = *static_cast<T const*>(from);
}

template <class T>
std::uint64_t hash(void const* value)
{
   return std::hash<T>{}(*static_cast<T const*>(value));
}

template <class T>
void init(void* to)
{
   new (to) T();
}

template <class T>
void copy(void* to, void const* from)
{
   new (to) T(*static_cast<T const*>(from));
}

template <class T>
void destroy(void* value)
{
   std::destroy_at(static_cast<T*>(value));
}

template <class T>
consteval KroType
leaf(std::string_view name, void (*append)(TextBuffer&, void const*), char const* (*read)(void*, CharRange&))
{
   TypeData data;
   data.name = name;
   data.size = sizeof(T);
   data.alignment = alignof(T);
   data.ops = {equal<T>, assign<T>, hash<T>, append, read, init<T>, copy<T>, destroy<T>};
   return KroType(data);
}

template <class T>
consteval KroType number(std::string_view name)
{
   return leaf<T>(name, Detail::appendNumber<T>, Detail::readNumber<T>);
}

consteval KroType opaque(std::string_view name)
{
   TypeData data;
   data.name = name;
   return KroType(data);
}

} // namespace

constinit KroType const boolean = leaf<bool>("bool", Detail::appendFlag, Detail::readFlag);
constinit KroType const int16 = number<std::int16_t>("int16");
constinit KroType const int32 = number<std::int32_t>("int32");
constinit KroType const int64 = number<std::int64_t>("int64");
constinit KroType const uint16 = number<std::uint16_t>("uint16");
constinit KroType const uint32 = number<std::uint32_t>("uint32");
constinit KroType const uint64 = number<std::uint64_t>("uint64");
constinit KroType const text = leaf<Orvo::String>("text", Detail::appendText, Detail::readQuoted);
constinit KroType const bytes = opaque("bytes");

} // namespace Kro::Leaf
