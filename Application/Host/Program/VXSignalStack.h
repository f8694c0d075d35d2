#pragma once

/**
 * Gives the calling thread a stack of its own for signal handlers, until it ends: a stack that is used up has no room for
 * them, and the process would end without a word. Threads that are made later get one by themselves, whoever makes them (but
 * in builds with a sanitizer, which has stacks of its own). Where no memory is left the thread goes without.
 */
void VXGiveSignalStack();
