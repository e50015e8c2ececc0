/* ---- Clocks (clock) ----
 * Three clocks stand side by side: the wall time, which is the system's clock in milliseconds and
 * can be stopped by a test; the current time, which only the program sets, for example to a
 * simulated time; and the system's clock as a text. A pair of seconds and microseconds is set when
 * neither field is negative; seconds beyond 2038 stay at the largest number that a pair holds.
 * Reading takes no lock. */
/* Call data of the "time_change" callbacks. */
typedef struct ZutTimeChangeData {
  ZutCb *cb;
  ZutTimePair time;
} ZutTimeChangeData;

/* The wall time, or the test time while that is in force. */
Z_EXPORT double Z_CALL ZutGetWallTime(void);
Z_EXPORT int32_t Z_CALL ZutGetWallTimeStruct(ZutTimePair *out);

/* Stops the wall at `time`; a pair with a field of -1 lets it run again. */
Z_EXPORT int32_t Z_CALL ZutSetTestWallTimeStruct(const ZutTimePair *time);

/* The system's clock (never the test time) in local time, such as "Wed Jan 02 02:03:55 1980". */
Z_EXPORT const char *Z_CALL ZutGetWallTimeStr(void);

/* The current time: 0.0 until it is set, and as a pair error 4 until then. */
Z_EXPORT double Z_CALL ZutGetCurrentTime(void);
Z_EXPORT int32_t Z_CALL ZutGetCurrentTimeStruct(ZutTimePair *out);

/* Set the current time, then call the "time_change" callbacks on this thread, without a lock.
 * Errors   4 for a negative number, NaN, or a pair that is not set. */
Z_EXPORT int32_t Z_CALL ZutSetCurrentTime(double time);
Z_EXPORT int32_t Z_CALL ZutSetCurrentTimeStruct(const ZutTimePair *time);

/* A callback for every change of the current time, and looking one up; the call data are a
 * ZutTimeChangeData. The callbacks are global ones: their owner is null. */
Z_EXPORT ZutCb *Z_CALL ZutTimeChangeCbCreate(ZutCbFunc function, ZutWord argument);
Z_EXPORT ZutCb *Z_CALL ZutTimeChangeCbLookup(ZutCbFunc function, ZutWord argument);

/* How many times `b` goes into `a`, cut towards zero and kept within 32 bits; 0 by 0 gives 0. */
Z_EXPORT int32_t Z_CALL ZutTimeRatio(const ZutTimePair *a, const ZutTimePair *b);

/* `n` times a pair, kept within 32 bits; `out` may be `time`. A million microseconds or more are
 * carried into the seconds, negative microseconds stay as they are. */
Z_EXPORT int32_t Z_CALL ZutTimeMultInt(ZutTimePair *out, const ZutTimePair *time, int32_t n);

/* ---- Time converters (timecvt) ----
 * A time converter is a named pair of functions, time to text and text to time. One of them is the
 * current converter, at first "hms": it makes the stamps of all output. Names ignore case.
 *
 *   full      local: Wed Jan 02 02:03:55.123 1980; the fraction in the printf format of the
 *             environment variable VNFULLFORMAT ("%.3f" when unset), cut at 15 characters
 *   hms       local: 02:03:55; read as today's, today being that of the current time, or of the
 *             system's clock while that is 0
 *   numeric   seconds, in the format of the option real_number_format, cut at 39 characters
 *   http      UTC: Wed, 02 Jan 1980 02:03:55 GMT
 *   smtp      UTC: Wednesday, 02-Jan-80 02:03:55 GMT
 *   asctime   UTC: Wed Jan  2 02:03:55 1980, with two blanks before every day; in December one
 *             blank and two digits
 *
 * Each of the last three reads what any of them prints, as LOCAL time whatever the text says, with
 * years 70 to 99 and 1970 to 2020. Daylight-saving time is in force in what "hms" and these read
 * when it is at the current time. White space and the comments of the command language may stand
 * between the parts of a text. What cannot be read gives 0 with a message that names the bad part,
 * and no error number. Times before 1970 or after 9999 have no text: it is "error", the result 0.
 * The zone is that of the environment variable TZ or of the system. */
/* Give a text or a time and 1, or 0 when there is none. The current converter's functions are
 * called with the process mutex held. A text stays the converter's own. */
typedef int32_t(Z_CALL *ZutTimeNumToStrFunc)(double time, const char **text);
typedef int32_t(Z_CALL *ZutTimeStrToNumFunc)(const char *text, double *time);
typedef void(Z_CALL *ZutTimeDestroyFunc)(void);
typedef int32_t(Z_CALL *ZutTimeCvtTraverseFunc)(const char *name, ZutTimeCvt *converter,
                                                ZutWord argument);
/* Room for every text of a built-in converter. */
#define Z_TIME_TEXT_SIZE 40

/* Registers a converter. `destroy` (may be null) is called when it is destroyed.
 * Result   null, without an error number, when there is one of that name. */
Z_EXPORT ZutTimeCvt *Z_CALL ZutTimeCvtCreate(const char *name, ZutTimeNumToStrFunc num_to_str,
                                             ZutTimeStrToNumFunc str_to_num,
                                             ZutTimeDestroyFunc destroy);
Z_EXPORT ZutTimeCvt *Z_CALL ZutTimeCvtLookup(const char *name);

/* Removes a converter, a built-in one as well. If it is the current one, "hms" takes its place. */
Z_EXPORT int32_t Z_CALL ZutTimeCvtDestroy(ZutTimeCvt *converter);

/* Visits every converter, names in lower case, with the process mutex held. */
Z_EXPORT int32_t Z_CALL ZutTimeCvtTraverse(ZutTimeCvtTraverseFunc function, ZutWord argument);

/* Call one converter's function, without a lock and without a check of the arguments. */
Z_EXPORT int32_t Z_CALL ZutTimeCvtNumToStr(ZutTimeCvt *converter, double time, const char **out);
Z_EXPORT int32_t Z_CALL ZutTimeCvtStrToNum(ZutTimeCvt *converter, const char *text, double *out);

/* Makes a converter the current one; not checked. The option time_format does the same by name. */
Z_EXPORT int32_t Z_CALL ZutTimeCvtSetCurrent(ZutTimeCvt *converter);

/* Convert with the current converter; a time without a text gives "<UNKNOWN>". */
Z_EXPORT const char *Z_CALL ZutTimeNumToStr(double time);
Z_EXPORT int32_t Z_CALL ZutTimeStrToNum(const char *text, double *out);

/* Copies the current converter's text into `buffer` and gives it. Z_TIME_TEXT_SIZE bytes hold
 * every built-in text; a converter of the program's own needs room for the longest of its texts. */
Z_EXPORT char *Z_CALL ZutTimeToString(double time, char *buffer);
