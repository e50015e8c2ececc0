// Port: what lower floors need of the socket layer. Answered by net.
#pragma once

#include "zut.h"

using ::ZutGetSocketDir;
using ::ZutWinEndWinsock;
using ::ZutWinStartWinsock;
