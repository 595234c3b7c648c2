#include "look/SvgMap.h"

#include "look/BarScale.h"
#include "look/Fitted.h"
#include "look/Svg.h"
#include "look/SvgBar.h"
#include "look/SvgStyle.h"
#include "look/Users.h"
#include "look/Wording.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Look {
namespace {

using namespace Style;
using Anchor = Svg::Anchor;

std::vector<std::uint32_t> sizesOf(MemoryMap const& map)
{
   std::vector<std::uint32_t> sizes;
   for (auto const& chunk : map.chunks) {
      sizes.push_back(chunk.size);
   }
   return sizes;
}

std::string summary(MemoryMap const& map)
{
   if (!map.directory) {
      return "The manager has no directory.";
   }
   auto const directory = fitted(printable(*map.directory), 11, pageWidth / 2);
   if (map.entities.empty()) {
      return directory + ": nothing is mounted.";
   }
   std::uint64_t dma = 0;
   std::uint64_t ordinary = 0;
   for (auto const& chunk : map.chunks) {
      (chunk.isIncapableDma ? ordinary : dma) += chunk.size;
   }
   return directory + ": " + countText(map.chunks.size(), "chunk") + ", " + sizeText(dma) + " of DMA memory, " +
          sizeText(ordinary) + " of ordinary memory.";
}

/// What a part is, in the words beside its chunk.
std::string labelText(User const& user, Chunk const& chunk, bool isPathShown)
{
   auto const& part = *user.part;
   auto const field = user.field().name.empty() ? fieldText(user.field()) : printable(user.field().name);
   auto text = isPathShown ? printable(user.entity->path) + ": " + printable(user.collection->name) + "." + field
                           : field + ", group " + std::to_string(part.groupId);
   if (auto const excess = beyond(part, chunk); excess != 0) {
      return text + ": " + sizeText(excess) + " beyond its end";
   }
   if (isPathShown) {
      return text;
   }
   return text + ", " + (part.group ? entriesText(*part.group) : "which is missing");
}

/// Fills a page from its top downwards.
class Page {
public:
   explicit Page(MemoryMap const& map) : map_(map), users_(map), scale_(sizesOf(map), barLength) {}

   std::string document()
   {
      auto const title = "Memory of manager " + fitted(printable(map_.manager), 20 * bold, pageWidth * 2 / 3);
      y_ = margin + 20;
      svg_.text(margin, y_, "title", title);
      y_ += 22;
      svg_.text(margin, y_, "note", summary(map_));
      if (!map_.chunks.empty()) {
         legend();
         columnHeads();
      }
      for (auto const* entity : users_.entities()) {
         draw(*entity);
      }
      sharedChunks();

      auto const height = y_ + margin;
      Svg page;
      page.rectangle({0.5, 0.5, pageWidth - 1, height - 1}, R"( rx="6" class="page")");
      page.append(svg_);
      return page.document(pageWidth, height, definitions, title);
   }

private:
   /// The colours with their fields, then what else is drawn, in as many lines as it takes.
   void legend()
   {
      y_ += 16;
      svg_.text(
         margin, y_, "note",
         scale_.isLogarithmic() ? "Bars grow with the logarithm of the chunk's size; inside a bar, bytes are to scale."
                                : "Bars are to scale.");
      y_ += 14;
      double x = margin;
      auto const entry = [&](std::string_view attributes, std::string const& text, bool isHatched) {
         auto const shown = fitted(text, 11, mostLegendLength);
         auto const needed = 18 + 6.4 * static_cast<double>(width(shown)) + 14;
         if (x + needed > rightX) {
            x = margin;
            y_ += 18;
         }
         svg_.rectangle({x, y_, 12, 12}, attributes);
         if (isHatched) {
            svg_.rectangle({x, y_, 12, 12}, R"( class="ordinary")");
         }
         svg_.text(x + 18, y_ + 10, "note", shown, Anchor::start, text);
         x += needed;
      };
      for (auto const& kind : users_.kinds()) {
         entry(" fill=\"" + std::string(kind.colour) + "\"", kind.text, false);
      }
      entry(R"( class="chunk")", "bytes of no field", false);
      entry(R"( class="chunk")", "ordinary memory, no DMA", true);
      y_ += 12;
   }

   void columnHeads()
   {
      y_ += 22;
      svg_.text(nameX, y_, "note", "chunk, and what it holds");
      double free = barX;
      for (auto const& tick : scale_.ticks()) {
         auto const half = 3.2 * static_cast<double>(tick.label.size());
         if (barX + tick.position - half >= free) {
            svg_.text(barX + tick.position, y_, "note", tick.label, Anchor::middle);
            free = barX + tick.position + half + 6;
         }
      }
      svg_.text(sizeEndX, y_, "note", "size", Anchor::end);
      svg_.text(addressX, y_, "note", "first and last address");
      y_ += 5;
      grid(5);
   }

   /// Draws the lines for the sizes downwards from where the page is filled to.
   void grid(double height)
   {
      for (auto const& tick : scale_.ticks()) {
         svg_.line(barX + tick.position, y_, barX + tick.position, y_ + height, "grid");
      }
   }

   void draw(Entity const& entity)
   {
      if (entity.isDirectory && entity.collections.empty() && !entity.isOrphan) {
         return;
      }
      band(printable(entity.path), printable(entity.type), entity.isOrphan);
      if (entity.collections.empty()) {
         remark("no live collections");
      }
      for (auto const& collection : entity.collections) {
         draw(collection);
      }
   }

   void draw(Collection const& collection)
   {
      y_ += 10;
      auto const name = printable(collection.name);
      svg_.text(collectionX, y_ + 12, "collection", fitted(name, 13 * bold, barX - collectionX), Anchor::start, name);
      svg_.text(barX, y_ + 12, "note", collectionText(collection));
      y_ += 17;
      svg_.line(collectionX, y_, rightX, y_, "rule");
      std::set<std::size_t> drawn;
      for (auto const& part : collection.parts) {
         if (drawn.insert(part.chunk).second) {
            users_.isShared(part.chunk) ? reference(collection, part.chunk) : chunk(part.chunk, false);
         }
      }
      if (collection.isLive && collection.parts.empty()) {
         remark("no chunks");
      }
   }

   void sharedChunks()
   {
      bool isFirst = true;
      for (std::size_t at = 0; at < map_.chunks.size(); ++at) {
         if (users_.isShared(at)) {
            if (std::exchange(isFirst, false)) {
               band("Shared chunks", "used by more than one collection", false);
            }
            chunk(at, true);
         }
      }
   }

   /// What a collection has in a shared chunk, which is drawn elsewhere.
   void reference(Collection const& collection, std::size_t at)
   {
      std::vector<User> own;
      for (auto const& user : users_.of(at)) {
         if (user.collection == &collection) {
            own.push_back(user);
         }
      }
      auto const top = y_ + 7;
      svg_.text(barX, top + 11, "note", "a shared chunk: drawn below");
      auto const lines = words(map_.chunks[at], own, top, false);
      y_ = top + lineHeight * static_cast<double>(lines) + 3;
   }

   void chunk(std::size_t at, bool isPathShown)
   {
      auto const& chunk = map_.chunks[at];
      auto const& users = users_.of(at);
      auto const top = y_ + 7;
      auto const lines = std::max<std::size_t>(2, words(chunk, users, top, isPathShown));
      auto const height = lineHeight * static_cast<double>(lines);
      grid(7 + height + 3);
      auto const shown = std::span(users).first(std::min(users.size(), mostUsers));
      drawBar(svg_, scale_, chunk, shown, users_, {barX, top, barLength, height - 2});
      svg_.text(sizeEndX, top + 11, "size", sizeText(chunk.size), Anchor::end);
      addresses(chunk, top + 11);
      y_ = top + height + 3;
   }

   void addresses(Chunk const& chunk, double y)
   {
      svg_.text(addressX, y, "note", "bus");
      if (chunk.isIncapableDma) {
         svg_.text(numberX, y, "note", "none: ordinary memory");
      } else {
         svg_.text(numberX, y, "address", rangeText(chunk.addressBus, chunk.size));
      }
      svg_.text(addressX, y + lineHeight, "note", "virtual");
      svg_.text(numberX, y + lineHeight, "address", rangeText(chunk.addressVirtual, chunk.size));
   }

   /// The chunk's name, and below it its users.
   /// @return the number of lines
   std::size_t words(Chunk const& chunk, std::vector<User> const& users, double top, bool isPathShown)
   {
      auto const name = printable(chunk.name);
      svg_.text(nameX, top + 11, "name", shortened(name, mostNameCharacters), Anchor::start, name);
      std::size_t lines = 1;
      for (auto const& user : users) {
         auto const y = top + lineHeight * static_cast<double>(lines++);
         if (lines > mostUsers + 1) {
            svg_.text(nameX, y + 11, "note", "and " + std::to_string(users.size() - mostUsers) + " more");
            break;
         }
         auto const text = labelText(user, chunk, isPathShown);
         bool const isExcessive = beyond(*user.part, chunk) != 0;
         svg_.rectangle({nameX, y + 2, 9, 9}, " fill=\"" + std::string(users_.colour(user)) + "\"");
         svg_.text(
            nameX + 14, y + 11, isExcessive ? "warning" : "note",
            fitted(text, isExcessive ? 11 * bold : 11, barX - nameX - 18), Anchor::start, text);
      }
      return lines;
   }

   void band(std::string const& name, std::string const& note, bool isOrphan)
   {
      y_ += 14;
      svg_.rectangle({margin, y_, rightX - margin, 26}, R"( rx="4" class="band")");
      svg_.text(margin + 10, y_ + 18, "mount", fitted(name, 14 * bold, barX - margin - 10), Anchor::start, name);
      svg_.text(barX, y_ + 17, "note", fitted(note, 11, rightX - barX - 180), Anchor::start, note);
      if (isOrphan) {
         svg_.rectangle({rightX - 172, y_ + 4, 164, 18}, R"( rx="9" class="badge")");
         svg_.text(rightX - 90, y_ + 17, "warning", "orphan: it is unmounted", Anchor::middle);
      }
      y_ += 26;
   }

   void remark(std::string const& text)
   {
      svg_.text(nameX, y_ + 18, "note", text);
      y_ += 26;
   }

   MemoryMap const& map_;
   Users users_;
   BarScale scale_;
   Svg svg_;
   double y_ = 0; ///< how far the page is filled
};

} // namespace

std::string svgMap(MemoryMap const& map)
{
   return Page(map).document();
}

} // namespace Look
