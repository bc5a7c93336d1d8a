#include "web/dispatch.h"

int main(int argc, char** argv) {
  return kestrel::dispatchRequest(argc, argv);
}
