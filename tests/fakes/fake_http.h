#ifndef TESTS_FAKES_FAKE_HTTP_H
#define TESTS_FAKES_FAKE_HTTP_H

#include <map>
#include <string>

// The web server of the tests (libovhttp replaced at link time). Process-wide, thread-safe.
namespace FakeHttp {

struct Request {
  std::string path;
  std::string method = "GET";
  std::string query;                              // empty: null is handed over
  std::map<std::string, std::string> parameters;  // decoded fields; the body under OV_HTTP_BODY
};

void reset();

// The next registrations fail that many times.
void failRegistrations(int count);

bool isRegistered();
int registrations();
int freed();

// Hands a request to the registered callback on the calling thread and returns all that it wrote;
// empty when nobody is registered.
std::string request(const Request& request);

}  // namespace FakeHttp

#endif
