// How often a test repeats what it makes up at random.
#ifndef TESTS_SUPPORT_ROUNDS_H
#define TESTS_SUPPORT_ROUNDS_H

// All of them as shipped; a fifth under the address sanitizer, which takes ten times as long for
// each and looks for faults of memory, not for rare numbers.
constexpr int rounds(int count) {
#ifdef __SANITIZE_ADDRESS__
  return (count + 4) / 5;
#else
  return count;
#endif
}

#endif
