#include <iostream>
#include <string>
#include <vector>

#include "admin/cli.h"

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  return kestrel::admin::runAdmin(args, std::cout, std::cerr);
}
