// Process-wide switches and the plot-component table.
#pragma once

int FLAG_get(int flag);
long FLAG_getl(int flag);
int FLAG_set(int flag, int value);
int FLAG_setl(int flag, long value);
int FLAG_reset(int value);
int FLAG_resetl(long value);
int FLAG_batch();
int FLAG_set_batch(int val);
int FLAG_help();
int FLAG_setplot(int type, int val);
int FLAG_getplot(int type);
int FLAG_resetplot(int val);

namespace zor::flag {
// Back to the start-up state: all flags -9999, all plot components on (tests).
void reset();
}  // namespace zor::flag
