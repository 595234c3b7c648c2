#include "look/TextMap.h"

#include "look/Wording.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

namespace Look {
namespace {

/// Lines of text, of which those that are rows of one table have their cells aligned.
class Lines {
public:
   explicit Lines(std::vector<bool> isNumber) : isNumber_(std::move(isNumber)), widths_(isNumber_.size()) {}

   void line(std::size_t indent, std::string text) { lines_.push_back({indent, {std::move(text)}, false}); }

   void row(std::size_t indent, std::vector<std::string> cells)
   {
      for (std::size_t at = 0; at < cells.size(); ++at) {
         widths_[at] = std::max(widths_[at], width(cells[at]));
      }
      lines_.push_back({indent, std::move(cells), true});
   }

   std::string text() const
   {
      std::string text;
      for (auto const& line : lines_) {
         std::string one(line.indent, ' ');
         for (std::size_t at = 0; at < line.cells.size(); ++at) {
            auto const fill = line.isRow ? std::string(widths_[at] - width(line.cells[at]), ' ') : std::string();
            one += at == 0 ? "" : "  ";
            one += isNumber_[at] ? fill + line.cells[at] : line.cells[at] + fill;
         }
         one.erase(one.find_last_not_of(' ') + 1);
         text += one + "\n";
      }
      return text;
   }

private:
   struct Line {
      std::size_t indent;
      std::vector<std::string> cells;
      bool isRow;
   };

   std::vector<bool> isNumber_; ///< by column: aligned to the right
   std::vector<std::size_t> widths_;
   std::vector<Line> lines_;
};

std::string groupText(std::uint32_t id)
{
   return "group " + std::to_string(id);
}

class Writer {
public:
   explicit Writer(MemoryMap const& map) : map_(map), users_(map.chunks.size()) {}

   std::string text()
   {
      tree_.line(0, map_.directory ? printable(*map_.directory) : "no directory");
      for (auto const& entity : map_.entities) {
         write(entity, 2);
      }
      if (map_.directory && map_.entities.empty()) {
         tree_.line(2, "nothing is mounted");
      }
      return "manager " + printable(map_.manager) + "\n\n" + tree_.text() + chunks();
   }

private:
   void write(Entity const& entity, std::size_t indent)
   {
      auto const* const orphan = entity.isOrphan ? ", orphan" : "";
      tree_.line(indent, printable(entity.name) + " (" + printable(entity.type) + ")" + orphan);
      for (auto const& collection : entity.collections) {
         write(collection, indent + 2);
      }
      for (auto const& below : entity.entities) {
         write(below, indent + 2);
      }
   }

   void write(Collection const& collection, std::size_t indent)
   {
      tree_.line(indent, printable(collection.name) + ": " + collectionText(collection));
      writeFields(collection, indent + 2);
      writeBareGroups(collection, indent + 2);
   }

   void writeFields(Collection const& collection, std::size_t indent)
   {
      auto part = collection.parts.begin();
      for (std::size_t at = 0; at < collection.fields.size(); ++at) {
         auto const& field = collection.fields[at];
         auto const size = countText(field.size, "byte");
         if (part == collection.parts.end() || part->field != at) {
            tree_.row(indent, {fieldText(field), size, "", "", "no chunk"});
         }
         for (; part != collection.parts.end() && part->field == at; ++part) {
            auto const& chunk = map_.chunks[part->chunk];
            auto const excess = beyond(*part, chunk);
            ++users_[part->chunk];
            tree_.row(
               indent,
               {fieldText(field), size, groupText(part->groupId),
                part->group ? entriesText(*part->group) : "which is missing",
                printable(chunk.name) + (excess != 0 ? ", " + countText(excess, "byte") + " beyond its end" : "")});
         }
      }
   }

   void writeBareGroups(Collection const& collection, std::size_t indent)
   {
      std::set<std::uint32_t> used;
      for (auto const& part : collection.parts) {
         used.insert(part.groupId);
      }
      for (auto const& group : collection.groups) {
         if (!used.contains(group.id)) {
            tree_.row(indent, {"", "", groupText(group.id), entriesText(group), "no chunk"});
         }
      }
   }

   std::string chunks() const
   {
      if (map_.chunks.empty()) {
         return "";
      }
      Lines table({false, true, false, false, false, true});
      table.row(0, {"chunk", "bytes", "memory", "bus address", "virtual address", "users"});
      for (std::size_t at = 0; at < map_.chunks.size(); ++at) {
         auto const& chunk = map_.chunks[at];
         table.row(
            0, {printable(chunk.name), std::to_string(chunk.size), chunk.isIncapableDma ? "ordinary" : "DMA",
                chunk.isIncapableDma ? "none" : rangeText(chunk.addressBus, chunk.size),
                rangeText(chunk.addressVirtual, chunk.size), std::to_string(users_[at])});
      }
      return "\n" + table.text();
   }

   MemoryMap const& map_;
   Lines tree_{{false, true, true, false, false}};
   std::vector<std::size_t> users_; ///< by chunk: its parts
};

} // namespace

std::string textMap(MemoryMap const& map)
{
   return Writer(map).text();
}

} // namespace Look
