#include "picture/jpeg.h"

#include <array>
#include <cstdio>  // jpeglib.h needs it
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <jpeglib.h>

namespace device {
namespace {

// The library would end the process. Its frames have nothing to clean up but the compressor itself.
void fail(j_common_ptr common) {
  std::array<char, JMSG_LENGTH_MAX> text{};
  common->err->format_message(common, text.data());
  throw std::runtime_error(std::string("JPEG: ") + text.data());
}

class Compressor {
 public:
  Compressor() {
    state.err = jpeg_std_error(&errors);
    errors.error_exit = fail;
    jpeg_create_compress(&state);
    jpeg_mem_dest(&state, &memory, &size);
  }
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
  ~Compressor() {
    jpeg_destroy_compress(&state);
    std::free(memory);
  }

  std::string compress(const Picture& picture, int quality) {
    state.image_width = static_cast<JDIMENSION>(picture.getWidth());
    state.image_height = static_cast<JDIMENSION>(picture.getHeight());
    state.input_components = sizeof(Colour);
    state.in_color_space = JCS_RGB;
    jpeg_set_defaults(&state);
    jpeg_set_quality(&state, quality, TRUE);
    jpeg_start_compress(&state, TRUE);
    while (state.next_scanline < state.image_height) {
      const Colour* row = &picture.at(0, static_cast<int>(state.next_scanline));
      // The library reads the row and no more.
      auto* bytes = const_cast<JSAMPLE*>(reinterpret_cast<const JSAMPLE*>(row));
      jpeg_write_scanlines(&state, &bytes, 1);
    }
    jpeg_finish_compress(&state);
    return {reinterpret_cast<const char*>(memory), size};
  }

 private:
  jpeg_compress_struct state{};
  jpeg_error_mgr errors{};
  unsigned char* memory = nullptr;
  unsigned long size = 0;  // NOLINT: the library's own type
};

}  // namespace

std::string jpegOf(const Picture& picture, int quality) {
  static_assert(sizeof(Colour) == 3);
  return Compressor().compress(picture, quality);
}

}  // namespace device
