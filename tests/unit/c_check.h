/* A minimal check for the tests written in C: counts checks and failures and
 * prints each failure with its line. End main with C_CHECK_REPORT(). */
#ifndef DMS_TESTS_C_CHECK_H
#define DMS_TESTS_C_CHECK_H

#include <stdio.h>

static int failures = 0;
static int checks = 0;

#define CHECK(cond)                                                      \
  do {                                                                   \
    ++checks;                                                            \
    if (!(cond)) {                                                       \
      ++failures;                                                        \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond); \
    }                                                                    \
  } while (0)

/* Prints "N passed, N failed" and gives main's exit status. */
#define C_CHECK_REPORT() \
  (printf("%d passed, %d failed\n", checks - failures, failures), failures == 0 ? 0 : 1)

#endif /* DMS_TESTS_C_CHECK_H */
