#include "web/server_url.h"
