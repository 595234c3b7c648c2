#include "Journal.h"

#include <Plugin/Entry.h>

std::vector<std::string>& Plugin::Test::journal()
{
   static std::vector<std::string> entries;
   return entries;
}

std::function<void()>& Plugin::Test::whenEntered()
{
   static std::function<void()> action;
   return action;
}

/// Not the entry point of a plugin that only needs this library.
extern "C" void pluginMain()
{
   Plugin::Test::journal().emplace_back("the library is entered");
}
