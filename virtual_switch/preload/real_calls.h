// The C library's own functions behind the ones that this library puts in their place. Any thread, no lock; resolved
// on first use, because other libraries may open files before this one is set up.
#pragma once

#include <cstddef>

#include <dlfcn.h>

namespace vswitch {

template <typename function>
struct real_call {
    const char* name;
    void* found = nullptr;

    function* get() {
        void* address = __atomic_load_n(&found, __ATOMIC_RELAXED);
        if (address == nullptr) {
            address = dlsym(RTLD_NEXT, name);
            __atomic_store_n(&found, address, __ATOMIC_RELAXED);
        }
        return reinterpret_cast<function*>(address);
    }
};

}  // namespace vswitch
