#ifndef TESTS_SRC_CGI_CGI_TEST_BASE_H
#define TESTS_SRC_CGI_CGI_TEST_BASE_H

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <jansson.h>
#include <ovhttp.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/json_text.h"
#include "camera/configuration_parser.h"
#include "cgi/cgi_callback.h"
#include "cgi/tracker_cgi_handler.h"
#include "config/persistent.h"
#include "src/addon/profiles.h"
#include "src/camera/test_camera.h"
#include "src/events/wrapper_test_base.h"
#include "support/temporary_folder.h"
#include "tracker/tracker_guard_factory.h"

// What a request's callback writes; null stands for arguments that are not there.
inline std::string callBack(const char* method, const char* query, const char* body,
                            void* userData) {
  GHashTable* const parameters = g_hash_table_new(g_str_hash, g_str_equal);
  if (body != nullptr) {
    g_hash_table_insert(parameters, const_cast<char*>(OV_HTTP_BODY), const_cast<char*>(body));
  }
  GOutputStream* const out = g_memory_output_stream_new_resizable();
  CGI_Callback::handle("/api/sentrelvideo", method, query, parameters, out, userData);
  g_hash_table_unref(parameters);
  GMemoryOutputStream* const memory = G_MEMORY_OUTPUT_STREAM(out);
  const std::string written(static_cast<const char*>(g_memory_output_stream_get_data(memory)),
                            g_memory_output_stream_get_data_size(memory));
  g_object_unref(out);
  return written;
}

inline std::string dumped(const json_t* value) {
  return toText(value, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(4));
}

// A parser that answers as told.
class FakeParser : public ConfigurationParserI {
 public:
  explicit FakeParser(Notes& notes) : notes(notes) {}

  void parseDocument(const json_t*, const DataBoundaries&) override {
    notes.add("parse");
    if (throwsWhileParsing) {
      throw std::runtime_error("unexpected");
    }
    throwIf(answer != StatusCode_e::ok, "as told", answer);
  }
  int parse(const std::string&, const DataBoundaries&) override {
    throw std::runtime_error("texts are decoded before");
  }
  StatusCode_e status() const override { return answer; }
  CameraConfigurationContainer createConfigurations() const override {
    notes.add("build");
    if (throwsWhileBuilding) {
      throw std::runtime_error("unexpected");
    }
    CameraConfigurationContainer configurations;
    configurations.insert({1, 0, {}});
    return configurations;
  }
  void clear() override {}

  StatusCode_e answer = StatusCode_e::ok;
  bool throwsWhileParsing = false;
  bool throwsWhileBuilding = false;

 private:
  Notes& notes;
};

// The API on fake services and a configuration file of the test's own.
class CgiTest : public InitializedWrapperTest {
 protected:
  static constexpr const char* HEADER = "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n";

  explicit CgiTest(bool isMechanical = false) {
    if (isMechanical) {
      FakeParameters::set("root.Properties.PTZ.PTZ", "yes");
    }
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    Persistent::setPathForTest(folder.path("settings.json"));
    tracker = &Tracker::getInstance();
    container = std::make_unique<TestContainer>(notes);
    useParser(realParser, configurationPath);
    notes.take();
  }

  ~CgiTest() override {
    handler.reset();
    clock.free();
    container.reset();
    Tracker::releaseInstance();
  }

  void useParser(ConfigurationParserI& parser, const std::string& path) {
    handler = std::make_unique<TrackerCGI_Handler>(*container, versions, path, boundaries, defaults,
                                                   parser, *tracker);
  }

  // Sends a request as the web server does; the whole answer.
  std::string ask(const std::string& body) {
    return callBack("POST", nullptr, body.c_str(), static_cast<CGI_Handler*>(handler.get()));
  }

  // The document of an answer.
  JsonAutoPtr askFor(const std::string& body) {
    const std::string answer = ask(body);
    if (!answer.starts_with(HEADER)) {
      throw std::runtime_error("answered: " + answer);
    }
    return JsonAutoPtr(json_loads(answer.substr(std::string(HEADER).size()).c_str(), 0, nullptr));
  }

  // The answer's code, empty for success.
  std::string codeOf(const std::string& body) {
    const JsonAutoPtr answer = askFor(body);
    const json_t* const error = json_object_get(answer.get(), "error");
    EXPECT_NE(json_object_get(answer.get(), "data") == nullptr, error == nullptr);
    return error != nullptr ? json_string_value(json_object_get(error, "code")) : "";
  }

  // The answer's data as text.
  std::string dataOf(const std::string& body) {
    return dumped(json_object_get(askFor(body).get(), "data"));
  }

  static std::string request(const std::string& method, const std::string& params = "") {
    return R"({"apiVersion":"1.0","context":"c","method":")" + method + "\"" +
           (params.empty() ? "" : ",\"params\":" + params) + "}";
  }

  // A configuration of camera 1 with profiles of these uids.
  static std::string configuration(std::initializer_list<int> uids) {
    std::string profiles;
    for (const int uid : uids) {
      Profile profile;
      profile.uid = std::to_string(uid);
      profiles += (profiles.empty() ? "" : ",") + profile.text();
    }
    return request(
        "setConfiguration",
        R"({"cameras":[{"id":1,"active":true,"rotation":0}],"profiles":[)" + profiles + "]}");
  }

  // Whether an error was logged that holds the text.
  static bool isLogged(const std::string& text) {
    const std::vector<LogLine> lines = LogCapture::lines();
    return std::any_of(lines.begin(), lines.end(), [&](const LogLine& line) {
      return line.text.find(text) != std::string::npos;
    });
  }

  std::string storedText() const { return readText(configurationPath); }
  JsonAutoPtr stored() const { return JsonAutoPtr(json_loads(storedText().c_str(), 0, nullptr)); }
  json_int_t storedStatus() const {
    const JsonAutoPtr document = stored();
    const json_t* const params = json_object_get(document.get(), "params");
    const json_t* const status = json_object_get(params, "configurationStatus");
    return status != nullptr ? json_integer_value(status) : -1;
  }

  static constexpr const char* VERSION_TEXTS[] = {"1.0"};

  TemporaryFolder folder;
  const std::string configurationPath = folder.path("config.json");
  const API_VersionHandler versions{VERSION_TEXTS, 1};
  const DataBoundaries boundaries;
  const DefaultValues defaults;
  Notes notes;
  ConfigurationParser<TrackerGuardFactory> realParser;
  FakeParser fakeParser{notes};
  Tracker* tracker = nullptr;
  std::unique_ptr<TestContainer> container;
  std::unique_ptr<TrackerCGI_Handler> handler;
};

#endif
