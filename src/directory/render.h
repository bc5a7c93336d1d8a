// Rendering of one message of a search result.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "directory/attribute_reader.h"
#include "directory/ldap.h"
#include "directory/search.h"
#include "directory/values.h"
#include "web/request.h"

namespace kestrel {

// The value collected for one field definition from one entry.
struct EntrySlot {
  std::string text;       // last value assigned (may hold any bytes)
  bool hasValue = false;  // a displayable value was assigned
  bool isMail = false;    // the value came from the attribute "mail"
};

// How the entries of one search use an attribute name, worked out the first
// time the server returns the name.
struct AttributeUse {
  std::string name;     // exactly as the server returned it
  int field = -1;       // first field collected for it in this mode, or -1
  int mapRole = -1;     // address role (mapRoleOf), or -1
  bool isMail = false;  // the name is "mail", ignoring case
};

// What stays the same for every message of one search, worked out once so
// that long result lists cost the same per entry.
struct RenderContext {
  RenderMode mode = RenderMode::List;
  std::string baseUrl;                  // of the self links in list rows
  std::string selfLinkStem;             // selfLinkStem(baseUrl, settings)
  std::vector<std::size_t> candidates;  // fields collected in this mode
  // Per field: the first UrlAttribute, ImgAttribute and WtaiAttribute row
  // of its attribute, or -1.
  std::vector<int> urlRow;
  std::vector<int> imgRow;
  std::vector<int> wtaiRow;

  // Filled while the entries are rendered: the names seen so far (servers
  // send the same names in the same order for every entry, so the next
  // name is tried first), and buffers reused from entry to entry.
  mutable std::vector<AttributeUse> uses;
  mutable std::size_t nextUse = 0;
  mutable std::vector<EntrySlot> slots;
  mutable std::string dn;
  mutable AttributeReader reader;
};

RenderContext makeRenderContext(const DomainSettings& settings,
                                RenderMode mode);

// One attribute of an entry and its values, as the directory sent them.
struct AttributeValues {
  std::string name;
  std::vector<std::string> values;
};

// renderEntry for an entry already taken apart: the same output, byte for
// byte, as for a message with this DN and these attributes in this order.
int renderEntryValues(Request& rq, const RenderContext& context,
                      const std::string& dn,
                      const std::vector<AttributeValues>& attributes);

// renderEntry with the context of the whole search.
int renderEntry(Request& rq, const RenderContext& context, LDAP* ld,
                LDAPMessage* message);

// Writes the message in `mode`: a list row, the information page, the
// modify form or a vCard. 0 when handled (also when nothing was written),
// -1 when the entry was dropped because of IgnoreType.
int renderEntry(Request& rq, RenderMode mode, LDAP* ld, LDAPMessage* message,
                int detail);

}  // namespace kestrel
