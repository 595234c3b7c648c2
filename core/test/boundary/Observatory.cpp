#include "boundary/Observatory.h"

#include <Kro/Slot.h>
#include <KroOrvo/Impl.h>
#include <Orvo/String.h>

#include <stdexcept>

#include <dlfcn.h>

namespace Quorvel::Core::Test {

void* openPlugin(char const* path)
{
   // Never closed: a registered module stays in use.
   auto* const plugin = ::dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
   if (plugin == nullptr) {
      throw std::runtime_error(::dlerror());
   }
   return plugin;
}

namespace Observatory {

Kro::KroModule const& module()
{
   static Kro::KroModule const* const loaded = [] {
      openPlugin(observatoryPaths.observatory);
      return Kro::findModule("Observatory");
   }();
   return *loaded;
}

Kro::KroType const& type(std::string_view name)
{
   module();
   return Kro::typeNode(Orvo::join("Observatory::", name));
}

std::string textOf(Kro::GenericIf const& object)
{
   if (object.voidPtr() == nullptr) {
      return "null";
   }
   // Every record is defined as a KroType.
   auto const& type = static_cast<Kro::KroType const&>(*object.type().type);
   return std::string(KroOrvo::Impl::valueToStrep(type, object.voidPtr()));
}

std::string textOf(Kro::GenericIf const& object, int number)
{
   Kro::Slot const slot(static_cast<Kro::KroType const*>(object.type().type)->findAttr(number)->type);
   if (object.get(number, slot.genericIf()) != Kro::success) {
      return "cannot be read";
   }
   return textOf(slot.object());
}

std::vector<std::string> elementsOf(Kro::GenericIf const& object, int number)
{
   std::vector<std::string> elements;
   object.visit(number, [&](Kro::GenericIf const& key, Kro::GenericIf const& element) {
      elements.push_back(textOf(key) + (element.voidPtr() != nullptr ? "=" + textOf(element) : ""));
      return true;
   });
   return elements;
}

} // namespace Observatory
} // namespace Quorvel::Core::Test
