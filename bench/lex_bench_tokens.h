// What the flex scanner of lex_bench.l returns; 0 at the end.
#pragma once

enum { PEER_SPACE = 1, PEER_WORD, PEER_NUMBER, PEER_STRING, PEER_SIGN };
