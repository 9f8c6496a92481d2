// One entry per reader of outside data: the bytes of a whole input handed to
// the reader's public functions, which must end cleanly whatever the bytes
// are. The libFuzzer targets, the crasher replays and the sweeps of the test
// suite all go through these.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace zor::fuzz {

using Entry = void (*)(const std::uint8_t* data, std::size_t size);

struct Reader {
  const char* name;  // also the folder of its corpus and crashers
  Entry run;
};

// Every reader, in a fixed order.
std::span<const Reader> readers();
// The entry of reader `name`, or nullptr.
Entry find(std::string_view name);
// Silences the readers' warnings, which would swamp a fuzzing run.
void quiet();

}  // namespace zor::fuzz
