#include "directory/modify_form.h"
