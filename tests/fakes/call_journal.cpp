#include "fakes/call_journal.h"

#include <mutex>

namespace {

std::mutex mutex;  // guards the journal
std::vector<std::string> journal;

}  // namespace

namespace CallJournal {

void clear() {
  const std::lock_guard lock(mutex);
  journal.clear();
}

void add(const std::string& call) {
  const std::lock_guard lock(mutex);
  journal.push_back(call);
}

std::vector<std::string> calls() {
  const std::lock_guard lock(mutex);
  return journal;
}

}  // namespace CallJournal
