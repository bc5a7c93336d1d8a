// The one list of the configuration's directives and of the members of
// DomainSettings they set, in the members' declaration order. The reader
// applies lines by it, kestrel-admin shows the settings and checks lines by
// it. A new scalar directive is one row here plus its member.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"

namespace kestrel {

struct Directive {
  // Text, Number and Flag set their member from the first segment; List
  // adds the first segment as a row; Row lines have a reader of their own.
  enum class Kind { Text, Number, Flag, List, Row };

  std::string_view name;  // as in the file; the member has the same name
  Kind kind = Kind::Text;
  // What a line reads: one letter per segment in reading order, "t" text,
  // "n" number, "f" flag. Empty for a member no directive sets.
  std::string_view segments;
  // The member, by its type; all null for the lists of row records.
  std::string DomainSettings::*text = nullptr;
  int DomainSettings::*number = nullptr;
  bool DomainSettings::*flag = nullptr;
  std::vector<std::string> DomainSettings::*list = nullptr;

  bool isSet() const { return !segments.empty(); }
};

// The rows, in the members' declaration order.
struct DirectiveTable {
  const Directive* first;
  std::size_t size;
  const Directive* begin() const { return first; }
  const Directive* end() const { return first + size; }
};
DirectiveTable directives();

// A directive and what it reads from a line (see Directive::segments).
struct DirectiveShape {
  std::string_view name;
  std::string_view segments;
};

// Every directive a line can set, for tools that check a configuration.
const std::vector<DirectiveShape>& directiveShapes();

}  // namespace kestrel
