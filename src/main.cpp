#include "app/entry.h"

int main(int argc, char** argv) {
  return kestrel::serveCgiRequest(argc, argv);
}
