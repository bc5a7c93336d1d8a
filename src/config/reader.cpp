#include "config/reader.h"
