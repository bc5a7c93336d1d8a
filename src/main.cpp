#include "app/entry.h"
#include "app/fastcgi_worker.h"

int main(int argc, char** argv) {
  if (kestrel::startedAsFastCgi())
    return kestrel::runFastCgiWorker(argc, argv);
  return kestrel::serveCgiRequest(argc, argv);
}
