// libOrvCom: bitmaps as byte arrays. Bit k is bit (k mod 8), counted from the least significant, of byte (k div 8).
// A switch's own copy of the library takes the place of ours without a rebuild.
//
// Each call reads or changes one byte atomically (SetAll and ClearAll one byte after the other), in no order relative
// to other memory, so a bitmap may be read on one thread while another changes it. A negative bit is ignored (and reads
// as 0); the caller answers for the bitmap's length.
#pragma once

extern "C" {

void utilBitmapSet(unsigned char* bitmap, int bit);
void utilBitmapClear(unsigned char* bitmap, int bit);
int utilBitmapCheck(const unsigned char* bitmap, int bit);  // 1 or 0
void utilBitmapSetAll(unsigned char* bitmap, int bytes);
void utilBitmapClearAll(unsigned char* bitmap, int bytes);

}  // extern "C"
