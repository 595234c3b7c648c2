#include <Plugin/Result.h>

#include "../src/Results.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Plugin {
namespace {

/// Never destroyed, so that it also answers while the process ends.
std::vector<Result>& all()
{
   static auto& list = *new std::vector<Result>;
   return list;
}

} // namespace

std::vector<Result> const& results()
{
   return all();
}

std::vector<Result> results(Orvo::String const& family)
{
   std::vector<Result> found;
   std::ranges::copy_if(all(), std::back_inserter(found), [&](auto const& result) { return result.family == family; });
   return found;
}

void Detail::report(Result result)
{
   all().push_back(std::move(result));
}

} // namespace Plugin
