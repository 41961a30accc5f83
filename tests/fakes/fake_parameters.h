#ifndef TESTS_FAKES_FAKE_PARAMETERS_H
#define TESTS_FAKES_FAKE_PARAMETERS_H

#include <string>
#include <vector>

// The parameter store of the tests (libovparameter replaced at link time). Process-wide.
namespace FakeParameters {

// Forgets all values, reads and failures.
void reset();

void set(const std::string& name, const std::string& value);
void remove(const std::string& name);

// From now on a question for it is lost on its way, until it is set or removed.
void silence(const std::string& name);

// The next opens of the store fail that many times.
void failOpens(int count);

// Names read so far, in order.
std::vector<std::string> reads();
int openCount();
int freeCount();

}  // namespace FakeParameters

#endif
