#include "platform/orv_com.h"

namespace {

unsigned char mask_of(int bit) {
    return static_cast<unsigned char>(1u << (bit % 8));
}

}  // namespace

void utilBitmapSet(unsigned char* bitmap, int bit) {
    if (bit >= 0) __atomic_fetch_or(&bitmap[bit / 8], mask_of(bit), __ATOMIC_RELAXED);
}

void utilBitmapClear(unsigned char* bitmap, int bit) {
    if (bit >= 0) __atomic_fetch_and(&bitmap[bit / 8], static_cast<unsigned char>(~mask_of(bit)), __ATOMIC_RELAXED);
}

int utilBitmapCheck(const unsigned char* bitmap, int bit) {
    if (bit < 0) return 0;
    return (__atomic_load_n(&bitmap[bit / 8], __ATOMIC_RELAXED) & mask_of(bit)) != 0 ? 1 : 0;
}

void utilBitmapSetAll(unsigned char* bitmap, int bytes) {
    for (int i = 0; i < bytes; i++)
        __atomic_store_n(&bitmap[i], static_cast<unsigned char>(0xFF), __ATOMIC_RELAXED);
}

void utilBitmapClearAll(unsigned char* bitmap, int bytes) {
    for (int i = 0; i < bytes; i++)
        __atomic_store_n(&bitmap[i], static_cast<unsigned char>(0), __ATOMIC_RELAXED);
}
