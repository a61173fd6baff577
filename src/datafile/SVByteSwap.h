#pragma once

// Swap the byte order of each group of 2, 4 or 8 bytes, in place. The length is in bytes. One that is no
// multiple of the group changes nothing and is not reported.
void SVSwap2Bytes(unsigned char* bytes, unsigned long length);
void SVSwap4Bytes(unsigned char* bytes, unsigned long length);
void SVSwap8Bytes(unsigned char* bytes, unsigned long length);
