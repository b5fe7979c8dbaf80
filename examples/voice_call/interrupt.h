/// \file
/// Ctrl-C.
#ifndef VOICE_CALL_INTERRUPT_H
#define VOICE_CALL_INTERRUPT_H

namespace voicecall
{

/// From now on SIGINT and SIGTERM are only noted, for the program to end in its own way. A second
/// one of the same kind ends it at once, should that take too long.
void noteInterrupts();

/// The last signal that was noted; 0 when there was none.
int interruptedBy();

} // namespace voicecall

#endif
