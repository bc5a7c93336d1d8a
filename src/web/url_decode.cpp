#include "web/url_decode.h"
