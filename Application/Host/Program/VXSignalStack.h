#pragma once

/**
 * Gives the calling thread a stack of its own for signal handlers, until it ends: when its normal stack is exhausted
 * there is no room for them, and the process would end silently. Threads that are made later get one automatically,
 * whoever makes them (except in builds with a sanitizer, which has stacks of its own). If there is no memory left, the
 * thread has to do without.
 */
void VXGiveSignalStack();

/** Has the signals of a crash handled on that stack, once: during the handler they have their own action again. */
void VXSetCrashHandler(void (*handler)(int));
