// Text pieces of the entry views: the entry's name, self links and the
// value decorations (links, images, phone links).
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "config/settings.h"
#include "directory/render.h"

namespace kestrel {

// Slots 1 to C (InfoDisplayNumberOfConcatenationAttributes), each followed
// by ", " when its index is K (InfoDisplayCommaAfterAttributeNumber) and by
// a blank otherwise; slots without value (or beyond the last field) give
// only their separator. With C of 0 a list row shows slot 1 alone and the
// information page no name at all.
std::string entryName(const DomainSettings& settings,
                      const std::vector<EntrySlot>& slots, RenderMode mode);

// Index of the first list column after the name.
std::size_t firstListColumn(const DomainSettings& settings);

// "<a href=\"" base "/" CgiBinPath "kestrel.cgi?" action "=" encoded key
// "&kestreldomain=" domain "\">"; the key is URL-encoded here.
std::string selfLinkOpening(const std::string& baseUrl,
                            const DomainSettings& settings, const char* action,
                            const std::string& key, const std::string& domain);

// The start of every self link of a search: "<a href=\"" base "/"
// CgiBinPath "kestrel.cgi?".
std::string selfLinkStem(const std::string& baseUrl,
                         const DomainSettings& settings);

// selfLinkOpening from its stem and a key already URL-encoded.
void writeSelfLinkOpening(std::ostream& out, const std::string& stem,
                          const char* action, const std::string& encodedKey,
                          const std::string& domain);

// Anchor opening of a link value, with the definition's link text; the
// caller closes it with "</a>".
void writeAttributeLink(std::ostream& out, const std::vector<EntrySlot>& slots,
                        std::size_t field,
                        const UrlAttributeDefinition& definition);

// An image tag for the value.
void writeAttributeImage(std::ostream& out, const std::vector<EntrySlot>& slots,
                         std::size_t field,
                         const ImgAttributeDefinition& definition);

// " [Dial]" and " [Add]" phone links for the value; the Add link carries
// slots 2 and 3 as the phone-book name.
void writeWtaiLinks(std::ostream& out, const std::vector<EntrySlot>& slots,
                    std::size_t field,
                    const WtaiAttributeDefinition& definition, bool withTitle);

}  // namespace kestrel
