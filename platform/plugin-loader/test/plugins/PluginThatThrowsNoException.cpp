#include <Plugin/Entry.h>

extern "C" void pluginMain()
{
   throw 7;
}
