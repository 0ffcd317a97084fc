// Decompressors of channel records, shared by all generations.
#ifndef TROX_DETAIL_DECOMPRESSORS_H
#define TROX_DETAIL_DECOMPRESSORS_H

#pragma GCC visibility push(default)

/// Decompresses one zlib stream of `length` bytes. On entry `*out_length` is the room at `out`; on success it
/// becomes the length produced and the result is 0. Any failure is 1, with a line on standard output.
/// Thread-safe.
int make_zlib(unsigned char* in, int length, unsigned char* out, int* out_length);
/// The same for LZO1X. `work` must not be null; it is not used. Without LZO in this build the result is 1.
int make_lzo(unsigned char* in, int length, unsigned char* out, int* out_length, unsigned char* work);

#pragma GCC visibility pop

#endif
