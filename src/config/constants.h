// Fixed texts of the program: one place for each.
#pragma once

namespace kestrel {

// The only configuration file the program reads.
inline constexpr const char* kConfigPath = "/etc/kestrel.conf";

// First segment a "program" line must carry.
inline constexpr const char* kProgramName = "kestrel";

// First segment a "version" line must carry.
inline constexpr const char* kVersion = "1.10";

// Answer to the "-v" query.
inline constexpr const char* kVersionBanner =
    "Kestrel Basic version Linux x86_64: 1.10";

// Name of the program in the self links and form actions.
inline constexpr const char* kScriptName = "kestrel.cgi";

// The maker named by the credit texts of the page frame.
inline constexpr const char* kMakerName = "Tarnbeck Software";
inline constexpr const char* kMakerSite = "www.tarnbeck.example";

}  // namespace kestrel
