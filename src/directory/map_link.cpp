#include "directory/map_link.h"
