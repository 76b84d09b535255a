// Allocation failure on demand. Linked into a test executable,
// failing_allocations.cpp replaces the global operator new so that, once
// armed on a thread, the n-th allocation made there throws std::bad_alloc.
// Other threads (the engine's worker, the timer) allocate as usual.
#ifndef DMS_TESTS_FAILING_ALLOCATIONS_H
#define DMS_TESTS_FAILING_ALLOCATIONS_H

namespace failing_allocations {

// Arms the calling thread: allocation number `n` from now (0 = the next)
// fails. Disarmed when the object goes.
class Armed {
 public:
  explicit Armed(long n);
  ~Armed();
  Armed(const Armed&) = delete;
  Armed& operator=(const Armed&) = delete;
  // Whether the armed allocation was reached (and failed).
  bool failed() const;
};

// Calls `call` once with each allocation it makes failing in turn (the
// first, then the second, ...), then once with none failing; `check(result,
// failed)` judges every result. Returns the number of failure points met.
template <typename Call, typename Check>
int sweep(Call&& call, Check&& check, int limit = 20000) {
  for (int n = 0; n < limit; ++n) {
    bool failed = false;
    auto result = [&] {
      Armed armed(n);
      auto r = call();
      failed = armed.failed();
      return r;
    }();
    check(result, failed);
    if (!failed) return n;
  }
  return limit;
}

}  // namespace failing_allocations

#endif  // DMS_TESTS_FAILING_ALLOCATIONS_H
