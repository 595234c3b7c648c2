#include <Plugin/Entry.h>

#include <stdexcept>

extern "C" void pluginMain()
{
   throw std::runtime_error("no device");
}
