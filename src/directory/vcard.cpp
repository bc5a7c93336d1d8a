#include "directory/vcard.h"
