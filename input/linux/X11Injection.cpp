#include "input/Injection.h"

// Nothing is injected yet, so nothing can be held down: both calls have nothing to release.
void PlatformMouseButtonUp(int /*index*/) {}
void PlatformKeyVk(int /*vk*/, bool /*down*/) {}
