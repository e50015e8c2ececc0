#ifndef ZUT_H
#define ZUT_H
#include "zut/types.h"
#include "zut/core.h"
#include "zut/output.h"
#include "zut/containers.h"
#include "zut/callback.h"
#include "zut/config.h"
#include "zut/trace.h"
#include "zut/time.h"
#include "zut/thread.h"
#include "zut/file.h"
#include "zut/net.h"
#ifdef __cplusplus
}
#endif
#endif
