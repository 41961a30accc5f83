#include "memory/fibres.h"

#include <sys/mman.h>
#include <ucontext.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/common_interface_defs.h>
#endif

namespace memory {

namespace {

constexpr std::size_t STACK_SIZE = 1 << 20;  // bytes
constexpr std::size_t GUARD_SIZE = 1 << 16;  // bytes below it that end the process when touched

class Stack {
 public:
  Stack()
      : base(mmap(nullptr, GUARD_SIZE + STACK_SIZE, PROT_READ | PROT_WRITE,
                  MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0)) {
    if (base == MAP_FAILED) {
      throw std::bad_alloc();
    }
    mprotect(base, GUARD_SIZE, PROT_NONE);
  }
  Stack(const Stack&) = delete;
  Stack& operator=(const Stack&) = delete;
  ~Stack() { munmap(base, GUARD_SIZE + STACK_SIZE); }

  void* bottom() const { return static_cast<char*>(base) + GUARD_SIZE; }

 private:
  void* base;
};

// The address sanitizer has to know which stack is in use.
class StackSwitch {
 public:
  StackSwitch([[maybe_unused]] const void* bottom, [[maybe_unused]] std::size_t size,
              [[maybe_unused]] bool isLast = false) {
#ifdef __SANITIZE_ADDRESS__
    __sanitizer_start_switch_fiber(isLast ? nullptr : &fake, bottom, size);
#endif
  }

  // Back on the stack that was left.
  void finish([[maybe_unused]] const void** oldBottom = nullptr,
              [[maybe_unused]] std::size_t* oldSize = nullptr) {
#ifdef __SANITIZE_ADDRESS__
    __sanitizer_finish_switch_fiber(fake, oldBottom, oldSize);
#endif
  }

 private:
#ifdef __SANITIZE_ADDRESS__
  void* fake = nullptr;
#endif
};

}  // namespace

class Fibres::Fibre {
 public:
  Fibre(int number, std::int64_t start, std::function<void()> work)
      : number(number), wakeTime(start), work(std::move(work)) {
    getcontext(&own);
    own.uc_stack.ss_sp = stack.bottom();
    own.uc_stack.ss_size = STACK_SIZE;
    own.uc_link = &caller;
    const auto address = reinterpret_cast<std::uintptr_t>(this);
    makecontext(&own, reinterpret_cast<void (*)()>(enter), 2, static_cast<unsigned>(address >> 32U),
                static_cast<unsigned>(address));
  }
  Fibre(const Fibre&) = delete;
  Fibre& operator=(const Fibre&) = delete;

  // Until it sleeps or ends.
  void resume() {
    StackSwitch change(stack.bottom(), STACK_SIZE);
    swapcontext(&caller, &own);
    change.finish();
  }

  // On the fibre: until it is resumed.
  void suspend() {
    StackSwitch change(callerBottom, callerSize);
    swapcontext(&own, &caller);
    change.finish(&callerBottom, &callerSize);
  }

  const int number;
  std::int64_t wakeTime;  // microseconds
  bool isEnded = false;

 private:
  static void enter(unsigned high, unsigned low) {
    auto* self = reinterpret_cast<Fibre*>(std::uintptr_t{high} << 32U | low);
    self->begin();
  }

  void begin() {
#ifdef __SANITIZE_ADDRESS__
    __sanitizer_finish_switch_fiber(nullptr, &callerBottom, &callerSize);
#endif
    work();
    isEnded = true;
    const StackSwitch last(callerBottom, callerSize, true);
  }

  std::function<void()> work;
  Stack stack;
  ucontext_t own{};
  ucontext_t caller{};
  const void* callerBottom = nullptr;
  std::size_t callerSize = 0;
};

Fibres::Fibres() = default;
Fibres::~Fibres() = default;

Fibres& Fibres::get() {
  static Fibres s_fibres;
  return s_fibres;
}

void Fibres::reset(std::int64_t startTime) {
  if (!fibres.empty()) {
    throw std::logic_error("Time cannot be set while fibres wait for it");
  }
  time = startTime;
}

int Fibres::start(std::function<void()> work) {
  ++lastNumber;
  fibres.push_back(std::make_unique<Fibre>(lastNumber, time, std::move(work)));
  return lastNumber;
}

void Fibres::sleep(std::int64_t microseconds) {
  const std::int64_t until = time + std::max<std::int64_t>(microseconds, 0);
  if (current == nullptr) {
    advanceTo(until);
    return;
  }
  current->wakeTime = until;
  current->suspend();
}

// Of those that are due at the same time the one that was started first.
Fibres::Fibre* Fibres::nextDue(std::int64_t end) {
  const auto next =
      std::ranges::min_element(fibres, {}, [](const auto& fibre) { return fibre->wakeTime; });
  return next == fibres.end() || (*next)->wakeTime > end ? nullptr : next->get();
}

Fibres::Fibre* Fibres::find(int number) {
  const auto found = std::ranges::find(fibres, number, [](const auto& f) { return f->number; });
  return found == fibres.end() ? nullptr : found->get();
}

void Fibres::run(Fibre& fibre) {
  time = std::max(time, fibre.wakeTime);
  current = &fibre;
  fibre.resume();
  current = nullptr;
  if (fibre.isEnded) {
    std::erase_if(fibres, [&fibre](const auto& one) { return one.get() == &fibre; });
  }
}

void Fibres::advanceTo(std::int64_t end) {
  while (Fibre* fibre = nextDue(end)) {
    run(*fibre);
  }
  time = std::max(time, end);
}

void Fibres::join(int number) {
  while (find(number) != nullptr) {
    run(*nextDue(std::numeric_limits<std::int64_t>::max()));
  }
}

}  // namespace memory
