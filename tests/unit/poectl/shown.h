// What a verb shows of values that a test gives it.
#pragma once

#include <string>

#include "poectl/pictures.h"
#include "poectl/render.h"
#include "poectl/verbs/verbs.h"

inline poectl::facts document(poectl::verb which, const poectl::picture& seen) {
    return poectl::document_of({.command = poectl::entry_of(which).name, .seen = seen, .error = {}});
}

inline std::string page(const poectl::picture& seen, const poectl::look& how = {}) {
    return poectl::as_table(seen, how);
}
