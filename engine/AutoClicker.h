// The Spammer: clicks a mouse button at an interval.
#pragma once

// Thread body "QVN autoclicker".
void AutoClickerThread();
