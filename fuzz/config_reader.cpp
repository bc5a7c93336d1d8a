// The configuration reader on arbitrary file bytes. The first line of the
// input names the domain asked for, the rest is the file. The file is read
// both from a stream and from a real file; the two must agree.
#include <sstream>

#include <cgicc/Cgicc.h>

#include "config/reader.h"

#include "fuzz_support.h"

namespace {

using kestrel::ConfigLine;
using kestrel::fuzz::takeLine;

// Every view the reader reports must lie inside the line it reports.
class ViewChecker : public kestrel::ConfigObserver {
 public:
  void line(const ConfigLine& line) override {
    FUZZ_CHECK(line.number == ++lines_);
    FUZZ_CHECK(line.segmentCount <= ConfigLine::kMaxSegments);
    FUZZ_CHECK(inside(line.text, line.key));
    for (std::size_t i = 0; i < line.segmentCount; ++i) {
      FUZZ_CHECK(inside(line.text, line.segments[i]));
    }
  }

 private:
  static bool inside(std::string_view outer, std::string_view part) {
    if (part.empty())
      return true;
    return part.data() >= outer.data() &&
           part.data() + part.size() <= outer.data() + outer.size();
  }
  std::size_t lines_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static const kestrel::fuzz::ScratchFile file;
  static kestrel::fuzz::MemoryInput environment(
      {{"SERVER_NAME", "localhost"}, {"SERVER_PORT", "80"}}, "");
  static const cgicc::Cgicc cgi(&environment);

  std::string_view rest = kestrel::fuzz::asText(data, size);
  const std::string domain(takeLine(rest));
  const std::string text(rest);

  kestrel::DomainSettings fromStream;
  kestrel::MapLinkSettings streamMap;
  std::istringstream in(text);
  ViewChecker checker;
  const std::string streamError = kestrel::readConfigurationFrom(
      in, fromStream, streamMap, domain, {"localhost", 80}, &checker);

  file.write(text);
  kestrel::DomainSettings fromFile;
  kestrel::MapLinkSettings fileMap;
  const std::string fileError =
      kestrel::readConfiguration(cgi, fromFile, fileMap, domain, file.path());

  FUZZ_CHECK(streamError == fileError);
  FUZZ_CHECK(fromStream.OrgName == fromFile.OrgName);
  FUZZ_CHECK(fromStream.PageType == fromFile.PageType);
  FUZZ_CHECK(fromStream.WebServerPort == fromFile.WebServerPort);
  FUZZ_CHECK(fromStream.field.size() == fromFile.field.size());
  FUZZ_CHECK(streamMap.service == fileMap.service);
  for (std::size_t i = 0; i < fromStream.field.size(); ++i) {
    FUZZ_CHECK(fromStream.field[i].index == static_cast<int>(i));
  }
  if (streamError.empty()) {
    // The after-reading defaults leave no member they cover empty.
    FUZZ_CHECK(!fromStream.OrgName.empty());
    FUZZ_CHECK(!fromStream.LdapServer.empty());
    FUZZ_CHECK(fromStream.BgColor == "#d0d0d0");
    FUZZ_CHECK(fromStream.LdapPort != 0);
  }
  return 0;
}
