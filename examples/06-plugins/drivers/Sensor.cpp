// A plugin that does not find its device. What its entry point throws becomes its result; the others are loaded nevertheless.

#include <Plugin/Entry.h>

#include <stdexcept>

extern "C" void pluginMain()
{
   throw std::runtime_error("no sensor answers");
}
