#include "directory/render.h"

#include <string_view>
#include <strings.h>

#include "directory/map_link.h"
#include "directory/modify_form.h"
#include "directory/render_text.h"
#include "directory/render_views.h"
#include "directory/vcard.h"
#include "web/server_url.h"

namespace kestrel {
namespace {

bool isCandidate(const FieldDefinition& field, std::size_t index,
                 RenderMode mode) {
  // The entry key, the name columns and the phone-book link read the first
  // four fields, so they are collected in every mode.
  if (index <= 3)
    return true;
  switch (mode) {
    case RenderMode::List:
      return field.showInList;
    case RenderMode::Info:
      return field.showInInfo;
    case RenderMode::ModifyForm:
      return field.showInModifyForm;
    case RenderMode::Vcard:
      return !field.vcardProperty.empty();
  }
  return false;
}

// The first field collected in this mode for the attribute, or -1.
int fieldFor(const DomainSettings& settings, const RenderContext& context,
             const char* attribute) {
  for (std::size_t index : context.candidates) {
    if (strcasecmp(settings.field[index].attribute.c_str(), attribute) == 0) {
      return static_cast<int>(index);
    }
  }
  return -1;
}

// More distinct names than this in one search are resolved every time
// they come, so a server sending ever new names cannot make the lookup
// itself the slow part.
constexpr std::size_t kRememberedNames = 64;

AttributeUse resolveAttribute(const Request& rq, const RenderContext& context,
                              std::string_view attribute) {
  AttributeUse use;
  use.name = attribute;
  const char* name = use.name.c_str();
  use.field = fieldFor(rq.settings, context, name);
  if (rq.settings.DisplayMapURL)
    use.mapRole = mapRoleOf(rq.map, name);
  use.isMail = strcasecmp(name, "mail") == 0;
  return use;
}

// The use of `attribute`, from the names already seen where possible;
// `spare` holds it when there is no room left to remember it.
const AttributeUse& useOf(const Request& rq, const RenderContext& context,
                          std::string_view attribute, AttributeUse& spare) {
  std::vector<AttributeUse>& uses = context.uses;
  std::size_t& next = context.nextUse;
  if (next < uses.size() && uses[next].name == attribute) {
    return uses[next++];
  }
  for (std::size_t i = 0; i < uses.size(); ++i) {
    if (uses[i].name == attribute) {
      next = i + 1;
      return uses[i];
    }
  }
  if (uses.size() < kRememberedNames) {
    uses.push_back(resolveAttribute(rq, context, attribute));
    next = uses.size();
    return uses.back();
  }
  spare = resolveAttribute(rq, context, attribute);
  return spare;
}

bool equalsIgnoringCase(const berval* value, const std::string& text) {
  return value->bv_len == text.size() &&
         strncasecmp(value->bv_val, text.c_str(), text.size()) == 0;
}

void offerToMap(Request& rq, const AttributeUse& use, const berval* value) {
  if (use.mapRole >= 0 && value != nullptr) {
    storeMapValue(rq.map, use.mapRole, value->bv_val, value->bv_len);
  }
}

// Collects the values of one attribute into its field's slot; false when a
// value equals IgnoreType.
bool collectAttribute(Request& rq, const AttributeUse& use, berval** values,
                      std::vector<EntrySlot>& slots) {
  const std::string& ignore = rq.settings.IgnoreType;
  const bool wanted = use.field >= 0 || use.mapRole >= 0;
  const berval* last = nullptr;
  const berval* lastDisplayable = nullptr;
  for (berval** value = values; *value != nullptr; ++value) {
    if (!ignore.empty() && equalsIgnoringCase(*value, ignore)) {
      // The map has already seen the values before this one.
      offerToMap(rq, use, lastDisplayable);
      return false;
    }
    if (wanted && isDisplayableValue((*value)->bv_val, (*value)->bv_len) == 0) {
      lastDisplayable = *value;
    }
    last = *value;
  }
  if (last == nullptr) {
    return true;
  }
  if (use.field >= 0) {
    // The last value wins; an undisplayable one after a displayable one
    // replaces the text but leaves the flag set.
    EntrySlot& slot = slots[use.field];
    slot.text.assign(last->bv_val, last->bv_len);
    if (lastDisplayable != nullptr)
      slot.hasValue = true;
    if (use.isMail)
      slot.isMail = true;
  }
  offerToMap(rq, use, lastDisplayable);
  return true;
}

// False when the entry is to be hidden because of IgnoreType.
bool collectEntry(Request& rq, const RenderContext& context, LDAP* ld,
                  LDAPMessage* entry, std::vector<EntrySlot>& slots) {
  // Without IgnoreType the values of an attribute no field and no map role
  // uses are never looked at, so they are not even read.
  const bool readAll = !rq.settings.IgnoreType.empty();
  context.nextUse = 0;
  AttributeUse spare;
  AttributeReader& reader = context.reader;
  std::string_view attribute;
  for (bool more = reader.first(ld, entry, attribute); more;
       more = reader.next(attribute)) {
    const AttributeUse& use = useOf(rq, context, attribute, spare);
    if (!readAll && use.field < 0 && use.mapRole < 0) {
      continue;
    }
    berval** values = reader.values();
    if (values == nullptr) {
      continue;
    }
    if (!collectAttribute(rq, use, values, slots)) {
      return false;
    }
  }
  return true;
}

// The values of an entry already taken apart, collected as collectEntry
// collects those of a message.
bool collectEntryValues(Request& rq, const RenderContext& context,
                        const std::vector<AttributeValues>& attributes,
                        std::vector<EntrySlot>& slots) {
  const bool readAll = !rq.settings.IgnoreType.empty();
  context.nextUse = 0;
  AttributeUse spare;
  std::vector<berval> values;
  std::vector<berval*> list;
  for (const AttributeValues& attribute : attributes) {
    // Up to a NUL, as the name libldap hands out would be.
    const AttributeUse& use =
        useOf(rq, context, std::string_view(attribute.name.c_str()), spare);
    if (!readAll && use.field < 0 && use.mapRole < 0) {
      continue;
    }
    values.clear();
    for (const std::string& value : attribute.values) {
      values.push_back({static_cast<ber_len_t>(value.size()),
                        const_cast<char*>(value.data())});
    }
    list.clear();
    for (berval& value : values) list.push_back(&value);
    list.push_back(nullptr);
    if (!collectAttribute(rq, use, list.data(), slots)) {
      return false;
    }
  }
  return true;
}

void warnAboutConcatenation(Request& rq) {
  if (static_cast<long>(rq.settings.field.size()) <
      rq.settings.InfoDisplayNumberOfConcatenationAttributes) {
    // "greater that" is the message's own spelling.
    rq.out << "Kestrel configuration error in kestrel.conf!! <p>The "
              "directive InfoDisplayNumberOfConcatenationAttributes is "
              "greater that the number of fields defined\n";
  }
}

// The slots of the previous entry, emptied: their texts keep their room.
std::vector<EntrySlot>& emptiedSlots(Request& rq,
                                     const RenderContext& context) {
  std::vector<EntrySlot>& slots = context.slots;
  slots.resize(rq.settings.field.size());
  for (EntrySlot& slot : slots) {
    slot.text.clear();
    slot.hasValue = false;
    slot.isMail = false;
  }
  return slots;
}

// Writes the collected entry in the context's mode; nothing for an entry
// without a value for field 0.
int writeEntry(Request& rq, const RenderContext& context,
               const std::vector<EntrySlot>& slots, const char* dn) {
  if (slots.empty() || slots[0].text.empty()) {
    return 0;
  }
  std::string& dnText = context.dn;
  dnText.assign(dn);
  switch (context.mode) {
    case RenderMode::List:
      writeListRow(rq, context, slots, dnText);
      break;
    case RenderMode::Info:
      writeInfoPage(rq, context, slots);
      break;
    case RenderMode::ModifyForm:
      writeModifyForm(rq, slots, dnText);
      break;
    case RenderMode::Vcard:
      rq.out << vcardText(rq.settings, slots);
      break;
  }
  return 0;
}

}  // namespace

RenderContext makeRenderContext(const DomainSettings& settings,
                                RenderMode mode) {
  RenderContext context;
  context.mode = mode;
  if (mode == RenderMode::List) {
    context.baseUrl = ServerUrl(settings).getUrl();
    context.selfLinkStem = selfLinkStem(context.baseUrl, settings);
  }
  for (std::size_t i = 0; i < settings.field.size(); ++i) {
    const std::string& attribute = settings.field[i].attribute;
    if (isCandidate(settings.field[i], i, mode)) {
      context.candidates.push_back(i);
    }
    context.urlRow.push_back(settings.findUrlAttribute(attribute));
    context.imgRow.push_back(settings.findImgAttribute(attribute));
    context.wtaiRow.push_back(settings.findWtaiAttribute(attribute));
  }
  return context;
}

int renderEntry(Request& rq, const RenderContext& context, LDAP* ld,
                LDAPMessage* message) {
  warnAboutConcatenation(rq);
  // Only entries have a DN and attributes; the closing result message
  // leaves every slot empty and writes nothing.
  if (ldap_msgtype(message) != LDAP_RES_SEARCH_ENTRY) {
    return 0;
  }
  DnPtr dn(ldap_get_dn(ld, message));
  std::vector<EntrySlot>& slots = emptiedSlots(rq, context);
  if (!collectEntry(rq, context, ld, message, slots)) {
    return -1;
  }
  return writeEntry(rq, context, slots, dn != nullptr ? dn.get() : "");
}

int renderEntryValues(Request& rq, const RenderContext& context,
                      const std::string& dn,
                      const std::vector<AttributeValues>& attributes) {
  warnAboutConcatenation(rq);
  std::vector<EntrySlot>& slots = emptiedSlots(rq, context);
  if (!collectEntryValues(rq, context, attributes, slots)) {
    return -1;
  }
  return writeEntry(rq, context, slots, dn.c_str());
}

int renderEntry(Request& rq, RenderMode mode, LDAP* ld, LDAPMessage* message,
                int) {
  return renderEntry(rq, makeRenderContext(rq.settings, mode), ld, message);
}

}  // namespace kestrel
