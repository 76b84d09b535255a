// dmsd's access-control decisions: the policy from the options, and the
// terminal where the user admits or refuses a device that waits.
#ifndef DMS_APP_ACCESS_CONSOLE_H
#define DMS_APP_ACCESS_CONSOLE_H

#include "options.h"

// The stack's access mode for a policy ("all", "listed", "ask").
int AccessModeFor(const std::string& policy);

// Applies the policy's mode and admits the listed addresses. Call after
// DMSAppStart (which starts access control). Returns 1 on success.
int ApplyAccessPolicy(int connectionID, const DaemonOptions& options);

// Starts access control again with the policy of `options` (after a config
// reload). Decisions made at the terminal are forgotten. Returns 1 on success.
int ReloadAccessPolicy(int connectionID, const DaemonOptions& options);

// Prints each device that waits for a decision and reads "allow" or "deny"
// lines from standard input on a thread of its own, until StopAccessConsole.
void StartAccessConsole();
void StopAccessConsole();

#endif  // DMS_APP_ACCESS_CONSOLE_H
