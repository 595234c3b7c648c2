#include <Kro/Table.h>

struct Sample {
   std::uint32_t port;

   void handlePort(std::uint32_t);
};

// There is a `port`, but it is no collection.
constexpr auto table =
   Kro::table<Sample>(Kro::value<2, &Sample::port>("port"), Kro::reactor<3, &Sample::handlePort>("handlePort"));
