#include "fakes/call_journal.h"

#include <mutex>

namespace {

std::mutex s_mutex;  // guards the journal
std::vector<std::string> s_journal;

}  // namespace

namespace CallJournal {

void clear() {
  const std::lock_guard lock(s_mutex);
  s_journal.clear();
}

void add(const std::string& call) {
  const std::lock_guard lock(s_mutex);
  s_journal.push_back(call);
}

std::vector<std::string> calls() {
  const std::lock_guard lock(s_mutex);
  return s_journal;
}

}  // namespace CallJournal
