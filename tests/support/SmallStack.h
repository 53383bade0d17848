#ifndef TAVIX_TESTS_SUPPORT_SMALLSTACK_H
#define TAVIX_TESTS_SUPPORT_SMALLSTACK_H

// Runs `work` to its end on a thread with a stack of 256 KiB.
void onSmallStack(void (*work)());

#endif
