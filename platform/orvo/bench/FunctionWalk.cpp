#include "FunctionWalk.h"

void callAll(ChangeFunctions const& functions, Orvo::Node* entity, Orvo::ChangeKey const& key)
{
   Orvo::Change const change{entity, 258, "chunk", key};
   for (auto const& function : functions) {
      function(change);
   }
}
