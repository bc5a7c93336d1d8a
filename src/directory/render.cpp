#include "directory/render.h"
