// The directory's answers, the least trusted text the program prints: one
// entry of fuzzed attribute names and values through a result row, an
// information page, the modify form and a vCard. Input: lines of the
// domain's block, a line "=====", the entry's DN on one line, then one
// "name:value" line per value (a line with the name of the line before adds
// a value to that attribute; "%XX" in a value is the byte XX, so a value
// may hold line feeds).
#include <sstream>

#include <cgicc/Cgicc.h>

#include "config/reader.h"
#include "directory/render.h"
#include "web/page.h"

#include "fuzz_support.h"

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

std::string decoded(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 &&
        hexDigit(text[i + 2]) >= 0) {
      bytes +=
          static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

std::vector<kestrel::AttributeValues> attributesOf(std::string_view rest) {
  std::vector<kestrel::AttributeValues> attributes;
  while (!rest.empty()) {
    std::string_view line = kestrel::fuzz::takeLine(rest);
    std::size_t colon = line.find(':');
    std::string name(line.substr(0, colon));
    if (attributes.empty() || attributes.back().name != name)
      attributes.push_back({name, {}});
    if (colon != std::string_view::npos)
      attributes.back().values.push_back(decoded(line.substr(colon + 1)));
  }
  return attributes;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() &&
         text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using kestrel::fuzz::takeLine;
  static kestrel::fuzz::MemoryInput noForm({}, "");
  static cgicc::Cgicc cgi(&noForm);

  std::string_view rest = kestrel::fuzz::asText(data, size);
  std::string block = "START:d\n";
  while (!rest.empty()) {
    std::string_view line = takeLine(rest);
    if (line == "=====")
      break;
    block.append(line).append("\n");
  }
  const std::string dn(takeLine(rest));
  const std::vector<kestrel::AttributeValues> attributes = attributesOf(rest);

  kestrel::DomainSettings read;
  kestrel::MapLinkSettings readMap;
  std::istringstream config(block);
  kestrel::readConfigurationFrom(config, read, readMap, "d", {});

  for (kestrel::RenderMode mode :
       {kestrel::RenderMode::List, kestrel::RenderMode::Info,
        kestrel::RenderMode::ModifyForm, kestrel::RenderMode::Vcard}) {
    kestrel::DomainSettings settings = read;
    kestrel::MapLinkSettings map = readMap;
    std::ostringstream out;
    kestrel::Request rq{cgi, settings, map, out, "d"};
    const kestrel::RenderContext context =
        kestrel::makeRenderContext(settings, mode);

    // The same entry twice: the second time its names come from what the
    // first one taught the context, and the output must not change.
    std::string once;
    for (int pass = 0; pass < 2; ++pass) {
      kestrel::resetElementStates();
      out.str("");
      const int result =
          kestrel::renderEntryValues(rq, context, dn, attributes);
      FUZZ_CHECK(result == 0 || result == -1);
      if (result == -1)
        FUZZ_CHECK(!settings.IgnoreType.empty());
      if (pass == 0)
        once = out.str();
    }
    FUZZ_CHECK(out.str() == once);

    // A card is whole; only the configuration warning may come first.
    const bool warned = static_cast<long>(settings.field.size()) <
                        settings.InfoDisplayNumberOfConcatenationAttributes;
    if (mode == kestrel::RenderMode::Vcard && !once.empty() && !warned) {
      FUZZ_CHECK(once.rfind("begin:vcard\n", 0) == 0);
      FUZZ_CHECK(endsWith(once, "\nend:vcard\n"));
    }
  }
  return 0;
}
