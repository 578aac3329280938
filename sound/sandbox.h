// What is taken from a process before it looks at files of strangers.
#ifndef VELOX_SOUND_SANDBOX_H
#define VELOX_SOUND_SANDBOX_H

namespace velox::sound {

/** From now on the process can read the descriptors that it has and the one that comes next, take some memory, and answer: it
 *  opens nothing, writes no file, reaches no network, starts no process, and ends with the one that started it. What the system
 *  can't do is left out: the limits alone hold everywhere. */
void give_up_rights();

}  // namespace velox::sound

#endif
