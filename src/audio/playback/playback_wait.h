#pragma once
// Waiting for the first of several signals (the ring's space, the thread's stop
// request, the stream's end) in one poll.

#include <initializer_list>

#include "toolkit/lsignal_object.h"

namespace vocarta {

// The position in `signals` of the first one set (checked in order), or -1 when
// `timeoutMs` (-1: for ever) passed first.
int WaitForAnySignal(std::initializer_list<const LSignalObject*> signals, int timeoutMs);

}  // namespace vocarta
