// Drawing-attribute strings such as "red:wi=2:st=dsh", fill-pattern and
// marker names.
#pragma once

#include "zor/types.h"

int ATTRIB_init(Gattribs* attrib);
int ATTRIB_parse(const char* str, Gattribs* attrib);
int ATTRIB_update(Gattribs* attr1, const Gattribs* attr2);
int ATTRIB_print(const Gattribs* attrib);
int ATTRIB_get(const char* resrc, const char* def, Gattribs* attrib);
int ATTR_parse_fill_pat(const char* str);
int ATTR_parse_marker(const char* str);
