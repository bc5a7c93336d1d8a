#include "directory/render.h"

#include <strings.h>

#include "directory/map_link.h"
#include "directory/modify_form.h"
#include "directory/render_views.h"
#include "directory/vcard.h"
#include "web/server_url.h"

namespace kestrel {
namespace {

bool isCandidate(const FieldDefinition& field, std::size_t index,
                 RenderMode mode) {
  // The entry key, the name columns and the phone-book link read the first
  // four fields, so they are collected in every mode.
  if (index <= 3) return true;
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

bool equalsIgnoringCase(const berval* value, const std::string& text) {
  return value->bv_len == text.size() &&
         strncasecmp(value->bv_val, text.c_str(), text.size()) == 0;
}

void offerToMap(Request& rq, const char* attribute, const berval* value) {
  if (rq.settings.DisplayMapURL && value != nullptr) {
    collectMapValue(rq.map, attribute,
                    std::string(value->bv_val, value->bv_len));
  }
}

// Collects the values of one attribute into its field's slot; false when a
// value equals IgnoreType.
bool collectAttribute(Request& rq, const RenderContext& context,
                      const char* attribute, berval** values,
                      std::vector<EntrySlot>& slots) {
  const std::string& ignore = rq.settings.IgnoreType;
  const berval* last = nullptr;
  const berval* lastDisplayable = nullptr;
  for (berval** value = values; *value != nullptr; ++value) {
    if (!ignore.empty() && equalsIgnoringCase(*value, ignore)) {
      // The map has already seen the values before this one.
      offerToMap(rq, attribute, lastDisplayable);
      return false;
    }
    if (isDisplayableValue((*value)->bv_val, (*value)->bv_len) == 0) {
      lastDisplayable = *value;
    }
    last = *value;
  }
  if (last == nullptr) {
    return true;
  }
  int field = fieldFor(rq.settings, context, attribute);
  if (field >= 0) {
    // The last value wins; an undisplayable one after a displayable one
    // replaces the text but leaves the flag set.
    EntrySlot& slot = slots[field];
    slot.text.assign(last->bv_val, last->bv_len);
    if (lastDisplayable != nullptr) slot.hasValue = true;
    if (strcasecmp(attribute, "mail") == 0) slot.isMail = true;
  }
  offerToMap(rq, attribute, lastDisplayable);
  return true;
}

// False when the entry is to be hidden because of IgnoreType.
bool collectEntry(Request& rq, const RenderContext& context, LDAP* ld,
                  LDAPMessage* entry, std::vector<EntrySlot>& slots) {
  BerElement* rawBer = nullptr;
  AttributePtr attribute(ldap_first_attribute(ld, entry, &rawBer));
  BerPtr ber(rawBer);
  for (; attribute != nullptr;
       attribute.reset(ldap_next_attribute(ld, entry, ber.get()))) {
    ValuesPtr values(ldap_get_values_len(ld, entry, attribute.get()));
    if (values == nullptr) {
      continue;
    }
    if (!collectAttribute(rq, context, attribute.get(), values.get(), slots)) {
      return false;
    }
  }
  return true;
}

void writeConcatenationWarning(std::ostream& out) {
  // "greater that" is the message's own spelling.
  out << "Kestrel configuration error in kestrel.conf!! <p>The directive "
         "InfoDisplayNumberOfConcatenationAttributes is greater that the "
         "number of fields defined\n";
}

}  // namespace

RenderContext makeRenderContext(const DomainSettings& settings,
                                RenderMode mode) {
  RenderContext context;
  context.mode = mode;
  if (mode == RenderMode::List) {
    context.baseUrl = ServerUrl(settings).getUrl();
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
  const DomainSettings& settings = rq.settings;
  if (static_cast<long>(settings.field.size()) <
      settings.InfoDisplayNumberOfConcatenationAttributes) {
    writeConcatenationWarning(rq.out);
  }
  // Only entries have a DN and attributes; the closing result message
  // leaves every slot empty and writes nothing.
  if (ldap_msgtype(message) != LDAP_RES_SEARCH_ENTRY) {
    return 0;
  }
  DnPtr dn(ldap_get_dn(ld, message));
  std::vector<EntrySlot> slots(settings.field.size());
  if (!collectEntry(rq, context, ld, message, slots)) {
    return -1;
  }
  if (slots.empty() || slots[0].text.empty()) {
    return 0;
  }
  const std::string dnText = dn != nullptr ? dn.get() : "";
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
      rq.out << vcardText(settings, slots);
      break;
  }
  return 0;
}

int renderEntry(Request& rq, RenderMode mode, LDAP* ld, LDAPMessage* message,
                int) {
  return renderEntry(rq, makeRenderContext(rq.settings, mode), ld, message);
}

}  // namespace kestrel
