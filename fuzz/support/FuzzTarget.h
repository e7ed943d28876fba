#ifndef FUZZTARGET_H
#define FUZZTARGET_H

#include <cstddef>
#include <cstdint>

/// What each target defines: one execution with \a size bytes of input. Called over and over in one
/// process, by the fuzzer or by ReplayMain; 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

#endif
