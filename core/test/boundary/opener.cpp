// Opens the plugins that are its arguments, one after the other, and prints the modules that they have brought, the newest
// first.

#include <Kro/KroModule.h>

#include <cstdio>
#include <string>

#include <dlfcn.h>

int main(int count, char** arguments)
{
   auto const* const before = Kro::firstModule();
   for (int i = 1; i < count; ++i) {
      if (::dlopen(arguments[i], RTLD_NOW | RTLD_LOCAL) == nullptr) {
         std::fprintf(stderr, "%s\n", ::dlerror());
         return 1;
      }
   }
   for (auto const* module = Kro::firstModule(); module != before; module = module->next) {
      std::printf("%s\n", std::string(module->name).c_str());
   }
}
