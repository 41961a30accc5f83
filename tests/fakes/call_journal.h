#ifndef TESTS_FAKES_CALL_JOURNAL_H
#define TESTS_FAKES_CALL_JOURNAL_H

#include <string>
#include <vector>

// What the daemon asks of the fakes, across all of them in one order: "ptz init", "ptz move",
// "ptz home", "ptz status", "ptz cleanup", "declare TOPIC", "undeclare TOPIC" (the event's topic2).
// Process-wide, thread-safe; each test begins with clear().
namespace CallJournal {

void clear();
void add(const std::string& call);
std::vector<std::string> calls();

}  // namespace CallJournal

#endif
