#include <Kro/KroType.h>

#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>

#include <Orvo/Node.h>

#include <algorithm>

namespace Kro {
namespace {

/// For types without an index of numbers.
KroAttr const* searchOwnAttr(TypeData const& type, int number) noexcept
{
   auto const at = std::lower_bound(
      type.attrs.begin(), type.attrs.end(), number, [](KroAttr const& attr, int n) { return attr.number < n; });
   return at != type.attrs.end() && at->number == number ? &*at : nullptr;
}

KroAttr const* findNamed(TypeData const& own, std::string_view wanted) noexcept
{
   for (auto const* type = &own; type != nullptr; type = type->base) {
      if (auto const* found = type->byName != nullptr ? type->byName(wanted) : nullptr) {
         return found;
      }
   }
   return nullptr;
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

KroAttr const* KroTypeBase::findAttr(std::string_view wanted) const noexcept
{
   return findNamed(*this, wanted);
}

KroAttr const& KroTypeBase::attr(std::string_view wanted) const
{
   if (auto const* found = findNamed(*this, wanted)) {
      return *found;
   }
   throw AttrNotFoundException(Orvo::join("type '", name, "' has no attribute '", wanted, "'"));
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
