/* ---- Sockets: start-up and the socket directory (socket) ---- */
/* Starts the socket layer in version 2.0, once, and has it ended at ZutExit; operations that need
 * sockets do so themselves. A system that cannot is a fatal error. */
Z_EXPORT int32_t Z_CALL ZutWinStartWinsock(void);
/* Ends it, if started; a later start starts it again.
 * Threads  any; takes no lock. */
Z_EXPORT int32_t Z_CALL ZutWinEndWinsock(void);
/* The directory of local sockets: "vantrel" below the first of TMP, TEMP and windir (Linux: TMPDIR)
 * that names a writable directory, else below "." (Linux: /tmp). Found and made once.
 * Result   its name; one that could not be made is reported by message 5261. */
Z_EXPORT const char *Z_CALL ZutGetSocketDir(void);
