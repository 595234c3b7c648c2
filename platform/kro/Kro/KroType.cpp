#include <Kro/KroType.h>

#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>

#include <Orvo/Node.h>

#include <algorithm>

namespace Kro {

constinit KroAttr const NameIndex::noAttr = [] {
   KroAttr attr;
   attr.ends = {1, 0}; // no empty name has ends
   return attr;
}();

namespace {

/// For types without an index of numbers.
KroAttr const* searchOwnAttr(TypeData const& type, int number) noexcept
{
   auto const at = std::lower_bound(
      type.attrs.begin(), type.attrs.end(), number, [](KroAttr const& attr, int n) { return attr.number < n; });
   return at != type.attrs.end() && at->number == number ? &*at : nullptr;
}

KroAttr const* findOwn(TypeData const& type, std::string_view wanted, Detail::NameEnds const& ends) noexcept
{
   if (type.names.isPerfect) {
      return Detail::probe(type.names, wanted, ends);
   }
   auto const at = std::find_if(
      type.attrs.begin(), type.attrs.end(), [&](KroAttr const& attr) { return Detail::hasName(attr, wanted, ends); });
   return at != type.attrs.end() ? &*at : nullptr;
}

// Apart, so that finding keeps no room for the text.
[[noreturn, gnu::noinline]] void refuseName(TypeData const& type, std::string_view wanted)
{
   throw AttrNotFoundException(Orvo::join("type '", type.name, "' has no attribute '", wanted, "'"));
}

} // namespace

KroAttr const* KroTypeBase::searchAttr(int number) const noexcept
{
   if (byNumber.empty()) {
      if (auto const* found = searchOwnAttr(*this, number)) {
         return found;
      }
   }
   // Every record is defined as a KroType.
   return base != nullptr ? static_cast<KroType const*>(base)->findAttr(number) : nullptr;
}

KroAttr const* KroTypeBase::searchAttr(std::string_view wanted) const noexcept
{
   Detail::NameEnds const ends(wanted);
   for (TypeData const* type = this; type != nullptr; type = type->base) {
      if (auto const* found = findOwn(*type, wanted, ends)) {
         return found;
      }
   }
   return nullptr;
}

KroAttr const& KroTypeBase::attr(std::string_view wanted) const
{
   auto const* found = findAttr(wanted);
   if (found == nullptr) [[unlikely]] {
      refuseName(*this, wanted);
   }
   return *found;
}

bool KroTypeBase::isA(TypeData const& wanted) const noexcept
{
   TypeData const* type = this;
   while (type != nullptr && type != &wanted) {
      type = type->base;
   }
   return type != nullptr;
}

GenericIf KroType::genericIf() const noexcept
{
   return GenericIf({this, Form::plain});
}

std::uint16_t KroType::index() const
{
   if (module == nullptr || !module->isRegistered) {
      throw TypeNotFoundException(Orvo::join("type '", name, "' has no index: it is in no registered module"));
   }
   auto const at = std::find(module->types.begin(), module->types.end(), this);
   if (at == module->types.end()) {
      throw TypeNotFoundException(
         Orvo::join("type '", name, "' has no index: its module '", module->name, "' does not list it"));
   }
   return static_cast<std::uint16_t>(module->firstIndex + (at - module->types.begin()));
}

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

KroType const& fwkType(Orvo::Node const& node) noexcept
{
   // Every record is defined as a KroType.
   return static_cast<KroType const&>(node.typeData());
}

} // namespace Kro
