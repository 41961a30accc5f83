#include "fakes/call_journal.h"

#include "base/mutex.h"

namespace {

Mutex s_mutex;  // guards the journal
std::vector<std::string> s_journal;

}  // namespace

namespace CallJournal {

void clear() {
  const LockGuard lock(s_mutex);
  s_journal.clear();
}

void add(const std::string& call) {
  const LockGuard lock(s_mutex);
  s_journal.push_back(call);
}

std::vector<std::string> calls() {
  const LockGuard lock(s_mutex);
  return s_journal;
}

}  // namespace CallJournal
