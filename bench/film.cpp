#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "bench/case.h"
#include "bench/everyday.h"
#include "services/frame_encoding.h"
#include "services/frame_handshake.h"

namespace bench {

void writeFilm(std::size_t people, std::size_t frames, int perSecond) {
  constexpr std::uint64_t SEED = 3;
  constexpr int MASK = device::FRAME_POLYGON | device::FRAME_VELOCITY;
  for (device::Frame& frame : thereAndBack(Everyday(SEED).walk(people, frames, perSecond))) {
    const std::vector<std::uint8_t> bytes = device::encodeFrame(frame, MASK);
    const auto size = static_cast<std::uint32_t>(bytes.size());
    if (std::fwrite(&size, sizeof(size), 1, stdout) != 1 ||
        std::fwrite(bytes.data(), 1, size, stdout) != size) {
      throw std::runtime_error("cannot write the film");
    }
  }
}

}  // namespace bench
