// Nanoseconds per operation on texts of 12 and 40 characters, against std::string and std::hash.

#include <Orvo/String.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>

namespace {

std::string text(benchmark::State const& state)
{
   return std::string(static_cast<std::size_t>(state.range(0)), 'x');
}

template <class String>
void copy(benchmark::State& state)
{
   String const source(text(state));
   for (auto _ : state) {
      String target(source);
      benchmark::DoNotOptimize(target);
   }
}

template <class String>
void make(benchmark::State& state)
{
   auto const source = text(state);
   for (auto _ : state) {
      auto const* characters = source.c_str();
      benchmark::DoNotOptimize(characters);
      String target(characters);
      benchmark::DoNotOptimize(target);
   }
}

template <class String>
void compareEqual(benchmark::State& state)
{
   String const left(text(state));
   String const right(text(state));
   for (auto _ : state) {
      auto const* leftAddress = &left;
      benchmark::DoNotOptimize(leftAddress);
      benchmark::DoNotOptimize(*leftAddress == right);
   }
}

// Of a text that exists, as a hash collection asks for it at each search.
template <class String>
void hash(benchmark::State& state)
{
   String const source(text(state));
   for (auto _ : state) {
      auto const* address = &source;
      benchmark::DoNotOptimize(address);
      benchmark::DoNotOptimize(std::hash<String>()(*address));
   }
}

template <class String>
void compareOrder(benchmark::State& state)
{
   String const left(text(state));
   String const right(text(state));
   for (auto _ : state) {
      auto const* leftAddress = &left;
      benchmark::DoNotOptimize(leftAddress);
      benchmark::DoNotOptimize(*leftAddress < right);
   }
}

void hashText(benchmark::State& state)
{
   auto const source = text(state);
   for (auto _ : state) {
      std::string_view view = source;
      benchmark::DoNotOptimize(view);
      benchmark::DoNotOptimize(Orvo::textHash(view));
   }
}

void hashTextStandard(benchmark::State& state)
{
   auto const source = text(state);
   for (auto _ : state) {
      std::string_view view = source;
      benchmark::DoNotOptimize(view);
      benchmark::DoNotOptimize(std::hash<std::string_view>()(view));
   }
}

void joinMessage(benchmark::State& state)
{
   Orvo::String const name("ring");
   std::uint32_t number = 4711;
   for (auto _ : state) {
      benchmark::DoNotOptimize(number);
      auto message = Orvo::join("size=", number, " of '", name, "' is too large.");
      benchmark::DoNotOptimize(message);
   }
}

void joinMessageStandard(benchmark::State& state)
{
   std::string const name("ring");
   std::uint32_t number = 4711;
   for (auto _ : state) {
      benchmark::DoNotOptimize(number);
      auto message = "size=" + std::to_string(number) + " of '" + name + "' is too large.";
      benchmark::DoNotOptimize(message);
   }
}

BENCHMARK(copy<std::string>)->Arg(12)->Arg(40);
BENCHMARK(copy<Orvo::String>)->Arg(12)->Arg(40);
BENCHMARK(make<std::string>)->Arg(12)->Arg(40);
BENCHMARK(make<Orvo::String>)->Arg(12)->Arg(40);
BENCHMARK(compareEqual<std::string>)->Arg(12)->Arg(40);
BENCHMARK(compareEqual<Orvo::String>)->Arg(12)->Arg(40);
BENCHMARK(compareOrder<std::string>)->Arg(12)->Arg(40);
BENCHMARK(compareOrder<Orvo::String>)->Arg(12)->Arg(40);
BENCHMARK(hash<std::string>)->Arg(12)->Arg(40);
BENCHMARK(hash<Orvo::String>)->Arg(12)->Arg(40);
BENCHMARK(hashTextStandard)->Arg(12)->Arg(40);
BENCHMARK(hashText)->Arg(12)->Arg(40);
BENCHMARK(joinMessageStandard);
BENCHMARK(joinMessage);

} // namespace
