#pragma once

#include <sdbus-c++/Types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/MenuItem.h"

namespace tandemview {

/// A menu's lines, numbered, and what com.canonical.dbusmenu wants to hear of each. A section header is two lines
/// here, as in every menu of a Linux desktop: a separator and a text that can't be chosen.
class MenuTree {
 public:
  using Identifier = std::int32_t;
  using Properties = std::map<std::string, sdbus::Variant>;
  using Names = std::vector<std::string>;
  /// A line, its properties, and the lines below it, each such a structure within a variant.
  using Layout = sdbus::Struct<Identifier, Properties, std::vector<sdbus::Variant>>;

  /// Stands for the whole menu.
  static constexpr Identifier root = 0;

  explicit MenuTree(const std::vector<std::shared_ptr<MenuItem>>& menu);

  Identifier size() const { return static_cast<Identifier>(lines_.size()); }
  bool contains(Identifier line) const { return line >= 0 && line < size(); }
  std::optional<Identifier> identifier(const MenuItem& item) const;

  /// Absent for lines that nobody could choose now.
  std::shared_ptr<const MenuItem> choosable(Identifier line) const;

  /// Those of `names`, or all if that is empty. `line` must be one of ours, here and below.
  Properties properties(Identifier line, const Names& names) const;

  /// The properties that may come and go and that the line has not got now.
  Names absentProperties(Identifier line) const;

  /// The line with so many levels of lines below it; a negative `depth`: with all.
  Layout layout(Identifier line, std::int32_t depth, const Names& names) const;

 private:
  struct Line {
    std::shared_ptr<MenuItem> item;  // null: the root, or the separator above a section header
    std::vector<Identifier> children;
  };

  void addChildren(Identifier parent, const std::vector<std::shared_ptr<MenuItem>>& menu);
  void addChild(Identifier parent, std::shared_ptr<MenuItem> item);
  Properties allProperties(const Line& line) const;

  std::vector<Line> lines_;
};

}  // namespace tandemview
