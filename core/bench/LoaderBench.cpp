// Nanoseconds of a load of a family that is loaded, against a search for the joined texts in a standard hash set that holds the
// same keys: one family over and over, or a thousand in turn; keys that a standard text holds in place, and longer ones.

#include <Quorvel/Core/Loader.h>

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include <stdlib.h>

#include <benchmark/benchmark.h>

namespace {

using Quorvel::Core::Loader::Singleton;

struct Family {
   Orvo::String prefix;
   Orvo::String suffix;
};

using Families = std::vector<Family>;

/// A thousand families whose keys have the size, loaded, though none of them has a plugin.
Families load(std::size_t keySize)
{
   ::unsetenv("PLUGIN_PATH");
   Plugin::Loader<void> loader;
   Families families;
   for (int number = 1000; number < 2000; ++number) {
      Family family{std::string(keySize - 4, 'p'), std::to_string(number)};
      Singleton::load(family.prefix, family.suffix, &loader);
      families.push_back(std::move(family));
   }
   return families;
}

struct Loaded {
   Families const shortKeys = load(12);
   Families const longKeys = load(40);
   std::unordered_set<std::string> keys; // the same as the library has
};

Loaded const& loaded()
{
   static Loaded const all = [] {
      Loaded made;
      for (auto const* families : {&made.shortKeys, &made.longKeys}) {
         for (auto const& [prefix, suffix] : *families) {
            made.keys.emplace(std::string(prefix) + std::string(suffix));
         }
      }
      return made;
   }();
   return all;
}

template <class Use>
void inTurn(benchmark::State& state, Use use)
{
   auto const& families = state.range(1) == 12 ? loaded().shortKeys : loaded().longKeys;
   auto const count = static_cast<std::size_t>(state.range(0));
   std::size_t i = 0;
   for (auto _ : state) {
      use(families[i].prefix, families[i].suffix);
      i = i + 1 == count ? 0 : i + 1;
   }
}

void bareFind(benchmark::State& state)
{
   auto const& keys = loaded().keys;
   inTurn(state, [&](Orvo::String const& prefix, Orvo::String const& suffix) {
      std::string key;
      key.reserve(prefix.size() + suffix.size());
      key.append(prefix.view()).append(suffix.view());
      benchmark::DoNotOptimize(keys.find(key) != keys.end());
   });
}

void loadKnown(benchmark::State& state)
{
   inTurn(
      state, [](Orvo::String const& prefix, Orvo::String const& suffix) { Singleton::load(prefix, suffix, nullptr); });
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
   benchmark->ArgNames({"families", "keySize"})->ArgsProduct({{1, 1000}, {12, 40}});
}

BENCHMARK(bareFind)->Apply(sizes);
BENCHMARK(loadKnown)->Apply(sizes);

} // namespace
