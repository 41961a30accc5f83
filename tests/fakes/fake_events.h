#ifndef TESTS_FAKES_FAKE_EVENTS_H
#define TESTS_FAKES_FAKE_EVENTS_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

// The event service of the tests (libovevent replaced at link time). Process-wide, thread-safe.
namespace FakeEvents {

using Value = std::variant<std::monostate, int, bool, double, std::string>;

struct Key {
  std::string nameSpace;  // empty when null was given
  Value value;
  bool source = false;
  bool data = false;
  std::string userDefined;                   // the last tag
  std::vector<std::string> userDefinedTags;  // all of them, in order
  std::string keyNiceName;
  std::string valueNiceName;
};

using Keys = std::map<std::string, Key>;  // by key name

struct Declaration {
  std::uint32_t id = 0;
  Keys keys;
  bool stateless = false;
  bool undeclared = false;
  int declaredAt = 0;    // number of the call, as of all calls to the service
  int undeclaredAt = 0;  // 0 as long as it stands
};

struct Sent {
  std::uint32_t declaration = 0;
  Keys keys;  // those given with the send
  std::int64_t time = 0;
  std::string topic2;  // of the declaration, "" when it has none
  int at = 0;          // number of the call
};

struct Subscription {
  std::uint32_t id = 0;
  Keys keys;
  bool unsubscribed = false;
};

// Forgets everything but the sets and events that are alive.
void reset();

std::vector<Declaration> declarations();  // all ever made, in order
std::vector<Declaration> activeDeclarations();
std::vector<Sent> sent();
void clearSent();
std::vector<Subscription> subscriptions();

// What was sent so far on declarations with that topic2.
std::vector<Sent> sentTo(const std::string& topic2);

int handlersMade();
int handlersFreed();
int setsAlive();  // key-value sets not yet freed
int eventsAlive();
int declaresTried();  // those that failed included

// Failures: the next calls fail that many times.
void failHandlers(int count);
void failDeclares(int count);
void failUndeclares(int count);
void failSends(int count);
void failAdds(int count);  // adding keys to sets
void failSubscribes(int count);

// Called whenever a key-value set is freed, without a lock; empty for nothing.
void onFree(std::function<void()> callback);

// Delivers an event to the callback of a subscription that has not ended, on the calling thread.
// time is UTC microseconds.
void deliver(std::uint32_t subscription, const Keys& keys, std::int64_t time);

}  // namespace FakeEvents

#endif
