// The kestrel-admin command line.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace kestrel::admin {

// Runs one command; `args` are the arguments after the program name.
// Returns the exit status: 0 success, 1 warnings under --strict, 2 errors,
// a file that cannot be used, or a usage error.
int runAdmin(const std::vector<std::string>& args, std::ostream& out,
             std::ostream& err);

}  // namespace kestrel::admin
