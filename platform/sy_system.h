// Host shell-command runner with a time limit.
#ifndef PLATFORM_SY_SYSTEM_H
#define PLATFORM_SY_SYSTEM_H

// Runs p_szCommand through the shell; gives up after p_nSeconds. Returns the
// command's exit status, or -1 when it could not run or timed out.
int sy_system(const char* p_szCommand, int p_nSeconds);

#endif
