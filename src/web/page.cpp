#include "web/page.h"
