#include "look/SvgBar.h"

#include "look/Wording.h"

#include <algorithm>
#include <string>
#include <vector>

namespace Look {
namespace {

constexpr double shortest = 1;         ///< pixels of a bar, also of one for no bytes
constexpr double leastEntryLength = 5; ///< pixels from which on entries are parted by lines

struct Stretch {
   double begin;
   double end;
};

/// From bytes of a chunk to pixels of its bar.
class Pixels {
public:
   Pixels(Chunk const& chunk, double length) : size_(chunk.size), length_(length) {}

   double operator()(std::uint64_t bytes) const
   {
      return length_ * static_cast<double>(std::min(bytes, size_)) / static_cast<double>(size_);
   }

private:
   std::uint64_t size_; // not 0 where there is something to draw
   double length_;
};

/// What of a part lies in its chunk; what is less than a pixel apart is drawn as one.
std::vector<Stretch> visible(Part const& part, Chunk const& chunk, Pixels const& pixels)
{
   std::vector<Stretch> stretches;
   for (auto const& span : part.spans) {
      if (span.begin >= chunk.size) {
         break;
      }
      if (!stretches.empty() && pixels(span.begin) < stretches.back().end + 1) {
         stretches.back().end = pixels(span.end);
      } else {
         stretches.push_back({pixels(span.begin), pixels(span.end)});
      }
   }
   return stretches;
}

void drawLane(Svg& svg, Chunk const& chunk, User const& user, std::string_view colour, Svg::Rectangle const& lane)
{
   Pixels const pixels(chunk, lane.width);
   auto const attributes = R"( class="field" fill=")" + std::string(colour) + "\"";
   auto const hint = printable(user.collection->name) + "." + fieldText(user.field());
   for (auto const& [begin, end] : visible(*user.part, chunk, pixels)) {
      svg.rectangle({lane.x + begin, lane.y, end - begin, lane.height}, attributes, hint);
   }
   std::uint64_t const size = user.field().size;
   if (user.collection->hasOffsetter || size == 0 || pixels(size) < leastEntryLength) {
      return;
   }
   for (auto const& span : user.part->spans) {
      for (auto at = span.begin + size; at < std::min<std::uint64_t>(span.end, chunk.size); at += size) {
         svg.line(lane.x + pixels(at), lane.y, lane.x + pixels(at), lane.y + lane.height, "entry");
      }
   }
}

} // namespace

void drawBar(
   Svg& svg, BarScale const& scale, Chunk const& chunk, std::span<User const> users, Users const& colours,
   Svg::Rectangle const& room)
{
   auto bar = room;
   bar.width = std::max(shortest, scale.barLength(chunk.size));
   auto const hint = printable(chunk.name) + ": " + countText(chunk.size, "byte");
   svg.rectangle(bar, R"( class="chunk")", hint);
   auto lane = bar;
   lane.height /= static_cast<double>(std::max<std::size_t>(1, users.size()));
   for (auto const& user : users) {
      drawLane(svg, chunk, user, colours.colour(user), lane);
      lane.y += lane.height;
   }
   if (chunk.isIncapableDma) {
      svg.rectangle(bar, R"( class="ordinary")", hint);
   }
}

} // namespace Look
