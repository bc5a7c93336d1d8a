#include "config/settings.h"

#include <cstdlib>

namespace kestrel {

namespace {

// Index of the first row whose attribute is `attribute`, or -1.
template <typename Row>
int findByAttribute(const std::vector<Row>& rows,
                    const std::string& attribute) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].attribute == attribute)
      return static_cast<int>(i);
  }
  return -1;
}

}  // namespace

void DomainSettings::rewindFields() {
  fieldCursor = 0;
}

std::string DomainSettings::nextFieldName() {
  // kNoRow is past every row, so an unrewound cursor also gives "".
  if (fieldCursor >= field.size())
    return "";
  return field[fieldCursor++].attribute;
}

int DomainSettings::findUrlAttribute(const std::string& attribute) const {
  return findByAttribute(UrlAttribute, attribute);
}

int DomainSettings::findImgAttribute(const std::string& attribute) const {
  return findByAttribute(ImgAttribute, attribute);
}

int DomainSettings::findWtaiAttribute(const std::string& attribute) const {
  return findByAttribute(WtaiAttribute, attribute);
}

bool DomainSettings::setAddAttributeValue(const std::string& attribute,
                                          const std::string& value) {
  int row = findByAttribute(AddAttribute, attribute);
  if (row < 0)
    return false;
  AddAttribute[row].value = value;
  return true;
}

std::string DomainSettings::addAttributeValueByLabel(
    const std::string& label) const {
  for (const AddAttributeDefinition& row : AddAttribute) {
    if (row.label == label)
      return row.value;
  }
  return "";
}

int DomainSettings::firstMissingMandatory() const {
  for (std::size_t i = 0; i < AddAttribute.size(); ++i) {
    if (AddAttribute[i].mandatory && AddAttribute[i].value.empty()) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

int DomainSettings::countFilledAddAttributes() const {
  int filled = 0;
  for (const AddAttributeDefinition& row : AddAttribute) {
    if (!row.value.empty())
      ++filled;
  }
  return filled;
}

bool flagValue(const std::string& text) {
  return text == "T";
}

int numberValue(const std::string& text) {
  // What glibc's atoi does, without its undefined behaviour on overflow:
  // strtol saturates to the long range, the cast keeps the low 32 bits.
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

}  // namespace kestrel
