#pragma once
// One entry of the host's instrument list: the connection record that a view's session takes.

#include "link/ConnectionRec.h"

namespace ferro {

using TInstrument = TConnectionRec;

} // namespace ferro
