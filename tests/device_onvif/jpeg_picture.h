#ifndef DEVICE_ONVIF_JPEG_PICTURE_H
#define DEVICE_ONVIF_JPEG_PICTURE_H

#include <cstdio>  // jpeglib.h needs it
#include <string>

#include <jpeglib.h>

#include "picture/picture.h"

namespace device {

// What a JPEG file shows. A file that is none ends the process.
inline Picture pictureOf(const std::string& file) {
  jpeg_decompress_struct state{};
  jpeg_error_mgr errors{};
  state.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&state);
  jpeg_mem_src(&state, reinterpret_cast<const unsigned char*>(file.data()), file.size());
  jpeg_read_header(&state, TRUE);
  state.out_color_space = JCS_RGB;
  jpeg_start_decompress(&state);
  Picture picture(static_cast<int>(state.output_width), static_cast<int>(state.output_height));
  while (state.output_scanline < state.output_height) {
    auto* row = reinterpret_cast<JSAMPROW>(&picture.at(0, static_cast<int>(state.output_scanline)));
    jpeg_read_scanlines(&state, &row, 1);
  }
  jpeg_finish_decompress(&state);
  jpeg_destroy_decompress(&state);
  return picture;
}

}  // namespace device

#endif
