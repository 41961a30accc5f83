#include "cgi/cgi_responder.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(CgiResponderTest, WritesTheHeaderLinesAndTheText) {
  GOutputStream* const stream = g_memory_output_stream_new_resizable();
  const std::string text = "{\"a\":\"" + std::string(100'000, 'x') + "\"}";
  CGI_Responder::sendResponse(text, stream);
  GMemoryOutputStream* const memory = G_MEMORY_OUTPUT_STREAM(stream);
  const std::string written(static_cast<const char*>(g_memory_output_stream_get_data(memory)),
                            g_memory_output_stream_get_data_size(memory));
  g_object_unref(stream);
  EXPECT_EQ(written, "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n" + text);
}

}  // namespace
