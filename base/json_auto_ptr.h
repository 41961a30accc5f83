#ifndef BASE_JSON_AUTO_PTR_H
#define BASE_JSON_AUTO_PTR_H

#include <jansson.h>

#include <utility>

// Owns one reference to a JSON value. Copies take a reference of their own.
class JsonAutoPtr {
 public:
  JsonAutoPtr() = default;

  // Takes over the caller's reference; null is allowed.
  explicit JsonAutoPtr(json_t* value) : value(value) {}
  JsonAutoPtr(const JsonAutoPtr& other) : value(json_incref(other.value)) {}
  JsonAutoPtr(JsonAutoPtr&& other) noexcept : value(std::exchange(other.value, nullptr)) {}
  JsonAutoPtr& operator=(JsonAutoPtr other) noexcept {
    std::swap(value, other.value);
    return *this;
  }
  ~JsonAutoPtr() { json_decref(value); }

  json_t* get() const { return value; }
  explicit operator bool() const { return value != nullptr; }

  // Gives the reference up to the caller.
  json_t* release() { return std::exchange(value, nullptr); }

  // Releases the reference.
  // Only for other applications of these classes.
  void free() { json_decref(release()); }

 private:
  json_t* value = nullptr;
};

#endif
