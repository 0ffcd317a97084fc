// The benchmarks of the program.
#ifndef TROX_BENCH_BENCHMARKS_H
#define TROX_BENCH_BENCHMARKS_H

namespace bench
{

/// Whole-channel decode beside plain decompression and plain copying of the same blocks on both cores.
void decode_channels(int rounds);
/// The event loop beside plain copying of the payloads that it delivers, in the same order.
void loop_over_events(int rounds);
/// Opening a file with a large pointers table for a few channels beside a plain read of the bytes needed.
void open_wide_file(int rounds);
/// Reading whole files through the generation-neutral layer beside the reader class.
void read_through_layer(int rounds);

} // namespace bench

#endif
