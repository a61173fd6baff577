#pragma once

// The other byte order, in place, of each group of 2, 4 or 8 bytes. The length is in bytes; one that the
// groups don't divide changes nothing and is not reported.
void SVSwap2Bytes(unsigned char* bytes, unsigned long length);
void SVSwap4Bytes(unsigned char* bytes, unsigned long length);
void SVSwap8Bytes(unsigned char* bytes, unsigned long length);
