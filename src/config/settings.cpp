#include "config/settings.h"
