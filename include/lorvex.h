/*
 * lorvex.h - the public interface of the lorvex internationalisation library.
 *
 * Valid C99 and C++.  Every exported function bears the prefix LX.  Text
 * crosses the interface in four forms:
 *
 *   (no suffix)  multibyte text in the locale's codeset (unsigned char *)
 *   Ex           the same, with a caller-held shift state (LXState)
 *   W            packed wide characters, one LXWchar per character
 *   U            16-bit Unicode (UCS-2), one LXUchar per unit
 *
 * Every integer argument and result is 32 bits wide: int32_t for lengths,
 * sizes, counts, item numbers, values, results and error codes; uint32_t for
 * flags, kinds and selectors.  Context and user values are uintptr_t so that
 * a pointer fits in them on 64-bit hosts.
 *
 * Functions that take a locale handle clear its error field at the start of
 * the call and store a code there on failure (read it with LXGetError).  A
 * null handle stands for the default locale installed with LXSetLocale.
 */
#ifndef LORVEX_H
#define LORVEX_H

#include <stddef.h>
#include <stdint.h>
#include <time.h> /* struct tm */

#if defined(LORVEX_STATIC)
#  define LX_API
#elif defined(_WIN32)
#  if defined(LORVEX_BUILDING)
#    define LX_API __declspec(dllexport)
#  else
#    define LX_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__)
#  define LX_API __attribute__((visibility("default")))
#else
#  define LX_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------
 * Types
 * ------------------------------------------------------------------------ */

/* A locale object; a handle is LXLocale *.  Null means the default locale. */
typedef struct LXLocale LXLocale;
/* Buffer-by-buffer conversion between two codesets. */
typedef struct LXConversion LXConversion;
/* A converting stream over a caller's I/O function. */
typedef struct LXStream LXStream;
/* An open message catalog. */
typedef struct LXCatalog LXCatalog;

/* One character's codeset bytes, first byte most significant, no leading
 * zero bytes: bytes 0x82 0xA0 are 0x000082A0. */
typedef uint32_t LXWchar;
/* One UCS-2 code unit; surrogates are not combined. */
typedef uint16_t LXUchar;
/* Shift state of a stateful codeset: 0 single-byte, 1 multibyte. */
typedef uint32_t LXState;

/* Allocation functions given to LXInit.  The free function returns non-zero
 * on success and 0 on failure. */
typedef void *(*LXAllocFn)(uintptr_t context, size_t size);
typedef int32_t (*LXFreeFn)(uintptr_t context, void *block);

/* Stream I/O: moves up to count bytes to or from buffer; returns the count
 * moved, or -1 on failure. */
typedef int32_t (*LXStreamIOFn)(uintptr_t context, void *buffer, int32_t count);

/* Enumeration callbacks: called once per locale part with its kind (LX_KIND_*)
 * and name; returning 0 stops the enumeration. */
typedef int32_t (*LXEnumFn)(uintptr_t user, int32_t kind, const char *name);
typedef int32_t (*LXEnumFnU)(uintptr_t user, int32_t kind, const LXUchar *name);
typedef int32_t (*LXEnumFnW)(uintptr_t user, int32_t kind, const LXWchar *name);

/* ------------------------------------------------------------------------
 * Error codes
 * ------------------------------------------------------------------------ */

#define LX_OK                    0    /* success */
#define LX_ERR_PLATFORM          1    /* a platform file operation failed; a free failed on release */
#define LX_ERR_ARGUMENT          2    /* flags or mode value not allowed */
#define LX_ERR_BUILTIN_ONLY      10   /* LXInit: started on the built-in locale only */
#define LX_ERR_INIT              11   /* LXInit failed; a part could not be loaded */
#define LX_ERR_NO_MEMORY         20   /* the allocation function returned null */
#define LX_ERR_FREE              21   /* the free function reported failure */
#define LX_ERR_NO_CODESET        30   /* codeset part not found */
#define LX_ERR_NO_LANGUAGE       31   /* language part not found */
#define LX_ERR_NOT_EXACT         32   /* no exact native locale identifier */
#define LX_ERR_NO_SORT           33   /* sort part not found */
#define LX_ERR_NO_TERRITORY      34   /* territory part not found */
#define LX_ERR_UNKNOWN_ITEM      35   /* unknown or unsuitable information item */
#define LX_ERR_REJECTED          37   /* value or part name/number rejected */
#define LX_ERR_BUFFER            40   /* output buffer too small; result cut */
#define LX_ERR_BASE              50   /* bad number base */
#define LX_ERR_TIME_FORMAT       51   /* unknown time directive or "%" at the end */
#define LX_ERR_OUTPUT_PENDING    52   /* LXConvertBuffer: output full, output pending */
#define LX_ERR_INPUT_PENDING     53   /* LXConvertBuffer: input ended inside a character */
#define LX_ERR_STREAM_DIRECTION  60   /* the stream's direction does not allow the call */
#define LX_ERR_STREAM_COMPLETE   61   /* I/O failed while completing a cut-off unit */
#define LX_ERR_STREAM_FLUSH      62   /* flushing failed or was partial */
#define LX_ERR_STREAM_PARTIAL    63   /* the stream ended inside a character */
#define LX_ERR_STREAM_EMPTY      64   /* no bytes where a character was expected */
#define LX_ERR_STREAM_REFUSED    65   /* the write was refused; bytes kept pending */
#define LX_ERR_NO_CATALOG        71   /* no catalog found, or not a valid catalog */
#define LX_ERR_NO_MESSAGE        72   /* message not in the catalog, no default */
#define LX_ERR_FILE_NOT_FOUND    1000 /* file not found */
#define LX_ERR_ACCESS            1001 /* access to a file denied */
#define LX_ERR_WRITE_ONLY        1002 /* read or map on a file opened for writing */
#define LX_ERR_IO                1003 /* read, seek or map failed; a path could not be formed */
#define LX_ERR_UNMAP             1005 /* a mapped view could not be unmapped */
#define LX_ERR_MAGIC             2000 /* a locale file lacks the magic number */

/* ------------------------------------------------------------------------
 * Flags and selectors
 * ------------------------------------------------------------------------ */

#define LX_INIT_STRICT      0x80000001u /* LXInit: never fall back to built-in data */

#define LX_TERMINATE        0x0008u     /* reserve room for and write a terminating 0 */
#define LX_LEN_CHARS        0x4000u     /* lengths and counts are in characters */
#define LX_FILE_VALUE       0x0001u     /* information functions: the file value, not the current one */

#define LX_USER_DEFAULT     0x0002u     /* LXGetLocale: use the user's default locale name */
#define LX_FALLBACK         0x0004u     /* replace a missing part by its default */
#define LX_SYSTEM_SETTINGS  0x0001u     /* native locales: system defaults, not user values */

#define LX_CTYPE_CLASS      0x80000010u /* LXGetCharType: class field */
#define LX_CTYPE_DIRECTION  0x80000011u /* LXGetCharType: direction field */
#define LX_CTYPE_SCRIPT     0x80000012u /* LXGetCharType: script and width field */

#define LX_REVERSE          0x80000020u /* search from the end */
#define LX_MAP_FULLWIDTH    0x80000021u
#define LX_MAP_HALFWIDTH    0x80000022u
#define LX_MAP_NONE         0x80000023u
#define LX_MAP_LOWER        0x80000024u
#define LX_MAP_UPPER        0x80000025u
#define LX_MAP_NOSPECIAL    0x2000u     /* added to LX_MAP_LOWER/UPPER: skip locale rules */
#define LX_MAP_DIGITS       0x0010u     /* native decimal digits to ASCII digits */

#define LX_IGNORECASE       0x80000040u
#define LX_IGNOREWIDTH      0x80000041u

#define LX_STREAM_READ      0x80000050u
#define LX_STREAM_WRITE     0x80000051u
#define LX_EOL_LF           0x0100u
#define LX_EOL_CRLF         0x0200u
#define LX_EOL_ALT1         0x0400u
#define LX_EOL_ALT2         0x0800u
#define LX_EOL_NATIVE       0x1000u

/* Kinds of locale part, as LXEnumLocales reports them. */
#define LX_KIND_LANGUAGE    0
#define LX_KIND_TERRITORY   1
#define LX_KIND_CODESET     2
#define LX_KIND_SORT        3

/* Character class bits (LX_CTYPE_CLASS). */
#define LX_C_ALPHA   0x001
#define LX_C_UPPER   0x002
#define LX_C_LOWER   0x004
#define LX_C_DIGIT   0x008
#define LX_C_XDIGIT  0x010
#define LX_C_PUNCT   0x020
#define LX_C_SPACE   0x040
#define LX_C_BLANK   0x080
#define LX_C_CNTRL   0x100
#define LX_C_ASCII   0x200

/* ------------------------------------------------------------------------
 * Information item numbers
 * ------------------------------------------------------------------------ */

#define LXI_LANGUAGE_NUMBER       1
#define LXI_LANGUAGE_PART         2
#define LXI_LANGUAGE_ABBREV       3
#define LXI_LANGUAGE_NAME         4
#define LXI_TERRITORY_NUMBER      5
#define LXI_TERRITORY_PART        6
#define LXI_TERRITORY_ABBREV      7
#define LXI_TERRITORY_NAME        8
#define LXI_CODESET_NUMBER        9
#define LXI_CODESET_PART          10
#define LXI_SORT_NUMBER           11
#define LXI_SORT_PART             12
#define LXI_DEFAULT_TERRITORY     13
#define LXI_DEFAULT_CODESET       14
#define LXI_DEFAULT_SORT          15
#define LXI_DAY_1                 16
#define LXI_DAY_2                 17
#define LXI_DAY_3                 18
#define LXI_DAY_4                 19
#define LXI_DAY_5                 20
#define LXI_DAY_6                 21
#define LXI_DAY_7                 22
#define LXI_ABDAY_1               23
#define LXI_ABDAY_2               24
#define LXI_ABDAY_3               25
#define LXI_ABDAY_4               26
#define LXI_ABDAY_5               27
#define LXI_ABDAY_6               28
#define LXI_ABDAY_7               29
#define LXI_MONTH_1               30
#define LXI_MONTH_2               31
#define LXI_MONTH_3               32
#define LXI_MONTH_4               33
#define LXI_MONTH_5               34
#define LXI_MONTH_6               35
#define LXI_MONTH_7               36
#define LXI_MONTH_8               37
#define LXI_MONTH_9               38
#define LXI_MONTH_10              39
#define LXI_MONTH_11              40
#define LXI_MONTH_12              41
#define LXI_MONTH_13              42
#define LXI_ABMONTH_1             43
#define LXI_ABMONTH_2             44
#define LXI_ABMONTH_3             45
#define LXI_ABMONTH_4             46
#define LXI_ABMONTH_5             47
#define LXI_ABMONTH_6             48
#define LXI_ABMONTH_7             49
#define LXI_ABMONTH_8             50
#define LXI_ABMONTH_9             51
#define LXI_ABMONTH_10            52
#define LXI_ABMONTH_11            53
#define LXI_ABMONTH_12            54
#define LXI_ABMONTH_13            55
#define LXI_AM                    56
#define LXI_PM                    57
#define LXI_TERRITORY_FLAG_0      58
#define LXI_DECIMAL_POINT         59
#define LXI_THOUSANDS_SEP         60
#define LXI_OTHER_SEP             61
#define LXI_GROUPING              62
#define LXI_FRAC_DIGITS           63
#define LXI_CURRENCY_SYMBOL       64
#define LXI_INT_CURRENCY_SYMBOL   65
#define LXI_MON_DECIMAL_POINT     66
#define LXI_MON_THOUSANDS_SEP     67
#define LXI_MON_GROUPING          68
#define LXI_CURRENCY_DIGITS       69
#define LXI_INT_CURRENCY_DIGITS   70
#define LXI_POSITIVE_SIGN         71
#define LXI_NEGATIVE_SIGN         72
#define LXI_P_CS_PRECEDES         73
#define LXI_P_SEP_BY_SPACE        74
#define LXI_N_CS_PRECEDES         75
#define LXI_N_SEP_BY_SPACE        76
#define LXI_P_SIGN_POSN           77
#define LXI_N_SIGN_POSN           78
#define LXI_TIME_FORMAT           79
#define LXI_DATE_FORMAT           80
#define LXI_LONG_DATE_FORMAT      81
#define LXI_TERRITORY_FLAG_5      82
#define LXI_TERRITORY_FLAG_6      83
#define LXI_TERRITORY_VALUE       84
#define LXI_MAX_CHAR_BYTES        85
#define LXI_ASCII_BASED           86
#define LXI_STATEFUL              87
#define LXI_LOCALE_NAME           88

/* ------------------------------------------------------------------------
 * Start and stop, errors, shift states
 * ------------------------------------------------------------------------ */

/* Starts the library, or counts one more start when it is running (the
 * arguments of such a call are ignored).  path: the locale directory holding
 * "control.nls", or null for LX_LOCALEDIR and then the default directory.
 * allocFn/freeFn: null for the platform heap; allocContext 0 keeps the
 * previous non-zero context.  flags LX_INIT_STRICT forbids falling back to
 * the built-in locale.  Returns 0; 10 when only the built-in locale is
 * available (the start still counts and needs its LXTerm); 11 or 20 when the
 * library could not start. */
LX_API int32_t LXInit(const char *path, LXAllocFn allocFn, LXFreeFn freeFn,
                      uintptr_t allocContext, uint32_t flags);

/* Counts one start down; the last releases the default locale and every
 * loaded locale part.  Returns 0, or 1, 21 or 1005 when releasing failed.
 * Called with no start outstanding, the 16-bit count wraps and nothing is
 * torn down. */
LX_API int32_t LXTerm(void);

/* Returns the error code of the last call made with handle (the default
 * locale for null); does not clear it. */
LX_API int32_t LXGetError(LXLocale *handle);

/* Sets *state to the initial shift state 0 and clears the handle's error. */
LX_API void LXInitState(LXLocale *handle, LXState *state);

/* Frees a locale object and its strings (unused: pass 0).  The locale parts
 * it used stay loaded until the last LXTerm.  Returns 0, or 1 if a block could
 * not be freed.  Releasing the installed default leaves it dangling: replace
 * it with LXSetLocale instead. */
LX_API int32_t LXReleaseLocale(LXLocale *handle, uint32_t unused);

/* ------------------------------------------------------------------------
 * Enumeration
 * ------------------------------------------------------------------------ */

/* Calls callback once for every part listed in the control file, in stored
 * order (by kind, then by number), until it returns 0.  Parts are not
 * loaded.  Returns 0. */
LX_API int32_t LXEnumLocales(LXEnumFn callback, uintptr_t user);

/* ------------------------------------------------------------------------
 * Character navigation
 *
 * Plain forms walk by the codeset's byte-length table (a character's length
 * is found from its first byte; trail bytes are never checked).  Ex forms
 * of a stateful codeset walk by shift state instead: state 0 after a
 * shift-in byte, one byte per character; state 1 after a shift-out byte,
 * the codeset's max bytes per character.  Any non-zero state counts as 1.
 * In a codeset that is not stateful an Ex form is its plain form: states
 * are ignored and no state is written back.  Shift bytes are never part of
 * an LXWchar.
 *
 * With LX_LEN_CHARS a length counts characters and is turned into bytes by
 * walking from the text; that walk does not stop at a NUL.  When there is
 * no locale (a null handle and no default) a function returns -1, null or 0
 * and touches nothing.
 * ------------------------------------------------------------------------ */

/* Bytes in the character at str, from the byte-length table. */
LX_API int32_t LXByteLength(LXLocale *handle, const unsigned char *str);

/* Bytes in the character at str: 1 at a shift-in byte, max bytes at a
 * shift-out byte (the shift byte itself not counted), else the length of
 * state's characters. */
LX_API int32_t LXByteLengthEx(LXLocale *handle, const unsigned char *str, LXState state);

/* Bytes needed by the highest non-zero byte of wc: 1 to 4 (LXByteLengthW(0)
 * is 1).  LXPutChar may write fewer: it drops zero bytes inside wc. */
LX_API int32_t LXByteLengthW(LXLocale *handle, LXWchar wc);

/* The character at str packed as an LXWchar; 0 for a byte whose table entry
 * is 0. */
LX_API LXWchar LXGetChar(LXLocale *handle, const unsigned char *str);

/* The character at str in state, a leading shift byte skipped and obeyed.
 * The new state is not returned. */
LX_API LXWchar LXGetCharEx(LXLocale *handle, const unsigned char *str, LXState state);

/* Writes the bytes of wc at buf (room for 4) and returns how many, 1 to 4.
 * Every zero byte but the last is dropped: 0x01000041 writes 0x01 0x41. */
LX_API int32_t LXPutChar(LXLocale *handle, unsigned char *buf, LXWchar wc);

/* As LXPutChar, but when wc needs the other state a shift byte is written
 * first (room for 5 bytes).  Returns the character's bytes, not counting the
 * shift byte. */
LX_API int32_t LXPutCharEx(LXLocale *handle, unsigned char *buf, LXState state, LXWchar wc);

/* The character after the one at str. */
LX_API unsigned char *LXNextChar(LXLocale *handle, const unsigned char *str);

/* Past the character at str and the shift bytes just before and after it;
 * the state there goes to *newstate.  Reads the byte after the character. */
LX_API unsigned char *LXNextCharEx(LXLocale *handle, const unsigned char *str, LXState state,
                                   LXState *newstate);

/* The start of the character before cur, found by walking forward from
 * start (keep start on a character boundary).  In a single-byte codeset it is
 * cur - 1, even when cur is start. */
LX_API unsigned char *LXPrevChar(LXLocale *handle, const unsigned char *start, const unsigned char *cur);

/* The character before cur, found by looking back from cur, where state is
 * in force; the state at the result goes to *newstate.  A shift byte at start
 * is returned as it is; a wrong state can step back past start. */
LX_API unsigned char *LXPrevCharEx(LXLocale *handle, const unsigned char *start, const unsigned char *cur,
                                   LXState state, LXState *newstate, uint32_t unused);

/* Whole characters in the first len bytes (len < 0: up to the NUL, which is
 * not counted); a character cut off by len does not count. */
LX_API int32_t LXNumChars(LXLocale *handle, const unsigned char *str, int32_t len);

/* As LXNumChars, starting in state; shift bytes do not count. */
LX_API int32_t LXNumCharsEx(LXLocale *handle, const unsigned char *str, LXState state, int32_t len,
                            uint32_t unused);

/* The character boundary at or before str + len bytes (len characters with
 * LX_LEN_CHARS).  In a single-byte codeset it is str + len, also for a
 * negative len. */
LX_API unsigned char *LXMoveStringPointer(LXLocale *handle, const unsigned char *str, int32_t len,
                                          uint32_t flags);

/* As LXMoveStringPointer, starting in state; the state at the result goes to
 * *newstate (not written for a zero len). */
LX_API unsigned char *LXMoveStringPointerEx(LXLocale *handle, const unsigned char *str, LXState state,
                                            int32_t len, LXState *newstate, uint32_t flags);

/* Cuts str in place at a character boundary so that it and its NUL fit in
 * size bytes (characters with LX_LEN_CHARS); returns what is kept, NUL
 * included.  Writes a NUL at str[0] when size < 1. */
LX_API int32_t LXTruncateString(LXLocale *handle, unsigned char *str, int32_t size, uint32_t flags);

/* As LXTruncateString, starting in state, and ending the text in state 0: a
 * shift-in goes before the NUL, or a bare shift-out is removed.  In state 1
 * with size < 2 the shift-in and NUL are written at str although they do
 * not fit. */
LX_API int32_t LXTruncateStringEx(LXLocale *handle, unsigned char *str, LXState state, int32_t size,
                                  uint32_t flags);

/* Writes a shift-in byte at buf if state is 1 in a stateful codeset, then a
 * NUL if flags is LX_TERMINATE; returns the bytes written (0 to 2).  Flags
 * other than 0 and LX_TERMINATE: -1, error 2. */
LX_API int32_t LXTerminateStringEx(LXLocale *handle, unsigned char *buf, LXState state, uint32_t flags);

/* Packs the whole characters of the first len bytes of str (len characters
 * when flags is exactly LX_LEN_CHARS) into at most wmax LXWchars; returns how
 * many were stored.  len < 0 converts the NUL too and stores it as 0. */
LX_API int32_t LXMbToWide(LXLocale *handle, LXWchar *wbuf, int32_t wmax, const unsigned char *str,
                          int32_t len, uint32_t flags);

/* As LXMbToWide, starting in state; shift bytes are obeyed, not stored.  The
 * final state is not returned. */
LX_API int32_t LXMbToWideEx(LXLocale *handle, LXWchar *wbuf, int32_t wmax, const unsigned char *str,
                            LXState state, int32_t len, uint32_t flags);

/* Writes wlen LXWchars (wlen < 0: up to and with the 0 value, written as a
 * NUL) as bytes into buf.  Returns the bytes written, stopping before a
 * character that would pass size.  With LX_LEN_CHARS size counts characters
 * and up to size + 1 characters are written; the result is capped at size.
 * Flags other than 0 and LX_LEN_CHARS: -1, error 2, nothing written. */
LX_API int32_t LXWideToMb(LXLocale *handle, unsigned char *buf, int32_t size, const LXWchar *wstr,
                          int32_t wlen, uint32_t flags);

/* As LXWideToMb, the output starting in state at buf: a shift byte goes
 * before each character that needs the other state, and counts against size
 * in byte mode.  No closing shift-in is written (see LXTerminateStringEx). */
LX_API int32_t LXWideToMbEx(LXLocale *handle, unsigned char *buf, LXState state, int32_t size,
                            const LXWchar *wstr, int32_t wlen, uint32_t flags);

/* ------------------------------------------------------------------------
 * Character types
 *
 * Every character has one 32-bit type word of three fields: class (bits
 * 0-9, LX_C_*), direction (bits 10-21, one bit) and script and width (bits
 * 22-31).  item selects the field, LX_CTYPE_CLASS, LX_CTYPE_DIRECTION or
 * LX_CTYPE_SCRIPT, and the field is returned shifted down to bit 0.  Another
 * item gives error 2 and the class field.
 * ------------------------------------------------------------------------ */

/* The type of the multibyte character at str. */
LX_API int32_t LXGetCharType(LXLocale *handle, const unsigned char *str, uint32_t item);

/* As LXGetCharType in state; a leading shift byte is obeyed and skipped. */
LX_API int32_t LXGetCharTypeEx(LXLocale *handle, const unsigned char *str, LXState state, uint32_t item);

/* The type of a packed character. */
LX_API int32_t LXGetCharTypeW(LXLocale *handle, LXWchar wc, uint32_t item);

/* The type of a Unicode value, from the library's built-in tables; no codeset
 * data is read. */
LX_API int32_t LXGetCharTypeU(LXLocale *handle, LXUchar uc, uint32_t item);

/* ------------------------------------------------------------------------
 * String functions
 *
 * Locale-aware counterparts of the C string functions in four forms:
 * multibyte (LXStr...), multibyte with caller-held shift states (...Ex), UCS-2
 * (...U) and packed wide characters (LXWcs...).  A multibyte function never
 * splits a character: matches, copies and cuts fall on character boundaries
 * of the locale's codeset.  A negative length means up to the terminator;
 * with LX_LEN_CHARS (multibyte forms) lengths and results count characters.
 * Every function sets the handle's error field: 0, 2 for flags it does not
 * accept, 20 when a case-insensitive comparison cannot get its buffers.
 * ------------------------------------------------------------------------ */

/* Appends whole characters of src to the NUL-terminated dst; returns dst's
 * length after the append, counting a written terminator.  srclen < 0
 * appends all of src and its NUL; otherwise a NUL only with LX_TERMINATE.
 * Flags outside LX_LEN_CHARS | LX_TERMINATE: -1, error 2. */
LX_API int32_t LXStrcat(LXLocale *handle, unsigned char *dst, const unsigned char *src, int32_t srclen,
                        uint32_t flags);
LX_API int32_t LXStrcatEx(LXLocale *handle, unsigned char *dst, LXState dststate, const unsigned char *src,
                          LXState srcstate, int32_t srclen, uint32_t flags);
LX_API int32_t LXStrcatU(LXLocale *handle, LXUchar *dst, const LXUchar *src, int32_t srclen, uint32_t flags);
LX_API int32_t LXWcscat(LXLocale *handle, LXWchar *dst, const LXWchar *src, int32_t srclen, uint32_t flags);

/* The first (LX_REVERSE: last) character of s equal to the character at ch,
 * or null.  len < 0 searches strlen(s) + 1 bytes, so the NUL can be found. */
LX_API unsigned char *LXStrchr(LXLocale *handle, const unsigned char *s, int32_t len, const unsigned char *ch,
                               uint32_t flags);
LX_API unsigned char *LXStrchrEx(LXLocale *handle, const unsigned char *s, LXState state, int32_t len,
                                 const unsigned char *ch, LXState chstate, LXState *state_out, uint32_t flags);
LX_API LXUchar *LXStrchrU(LXLocale *handle, const LXUchar *s, int32_t len, LXUchar ch, uint32_t flags);
LX_API LXWchar *LXWcschr(LXLocale *handle, const LXWchar *s, int32_t len, LXWchar ch, uint32_t flags);

/* Byte-wise comparison (not collation): negative, zero or positive; a proper
 * prefix sorts first.  LX_IGNORECASE compares the upper-case mappings. */
LX_API int32_t LXStrcmp(LXLocale *handle, const unsigned char *s1, int32_t len1, const unsigned char *s2,
                        int32_t len2, uint32_t flags);
LX_API int32_t LXStrcmpEx(LXLocale *handle, const unsigned char *s1, LXState state1, int32_t len1,
                          const unsigned char *s2, LXState state2, int32_t len2, uint32_t flags);
LX_API int32_t LXStrcmpU(LXLocale *handle, const LXUchar *s1, int32_t len1, const LXUchar *s2, int32_t len2,
                         uint32_t flags);
LX_API int32_t LXWcscmp(LXLocale *handle, const LXWchar *s1, int32_t len1, const LXWchar *s2, int32_t len2,
                        uint32_t flags);

/* Copies the whole characters of src that fit in dstsize; returns the count
 * copied.  srclen < 0 copies the NUL too when it fits; no NUL is added.  Bad
 * flags: -1, error 2. */
LX_API int32_t LXStrcpy(LXLocale *handle, unsigned char *dst, int32_t dstsize, const unsigned char *src,
                        int32_t srclen, uint32_t flags);
LX_API int32_t LXStrcpyEx(LXLocale *handle, unsigned char *dst, LXState dststate, int32_t dstsize,
                          const unsigned char *src, LXState srcstate, int32_t srclen, uint32_t flags);
LX_API int32_t LXStrcpyU(LXLocale *handle, LXUchar *dst, int32_t dstsize, const LXUchar *src, int32_t srclen);
LX_API int32_t LXWcscpy(LXLocale *handle, LXWchar *dst, int32_t dstsize, const LXWchar *src, int32_t srclen);

/* Length of the leading part of s with no character of set (cspn) or made
 * only of characters of set (spn). */
LX_API int32_t LXStrcspn(LXLocale *handle, const unsigned char *s, int32_t len, const unsigned char *set,
                         int32_t setlen, uint32_t flags);
LX_API int32_t LXStrcspnEx(LXLocale *handle, const unsigned char *s, LXState state, int32_t len,
                           const unsigned char *set, LXState setstate, int32_t setlen, uint32_t flags);
LX_API int32_t LXStrcspnU(LXLocale *handle, const LXUchar *s, int32_t len, const LXUchar *set, int32_t setlen);
LX_API int32_t LXWcscspn(LXLocale *handle, const LXWchar *s, int32_t len, const LXWchar *set, int32_t setlen);
LX_API int32_t LXStrspn(LXLocale *handle, const unsigned char *s, int32_t len, const unsigned char *set,
                        int32_t setlen, uint32_t flags);
LX_API int32_t LXStrspnEx(LXLocale *handle, const unsigned char *s, LXState state, int32_t len,
                          const unsigned char *set, LXState setstate, int32_t setlen, uint32_t flags);
LX_API int32_t LXStrspnU(LXLocale *handle, const LXUchar *s, int32_t len, const LXUchar *set, int32_t setlen);
LX_API int32_t LXWcsspn(LXLocale *handle, const LXWchar *s, int32_t len, const LXWchar *set, int32_t setlen);

/* The first occurrence of sub in s that starts on a character boundary, or
 * null; an empty sub gives s. */
LX_API unsigned char *LXStrstr(LXLocale *handle, const unsigned char *s, int32_t len, const unsigned char *sub,
                               int32_t sublen, uint32_t flags);
LX_API unsigned char *LXStrstrEx(LXLocale *handle, const unsigned char *s, LXState state, int32_t len,
                                 const unsigned char *sub, LXState substate, int32_t sublen, LXState *state_out,
                                 uint32_t flags);
LX_API LXUchar *LXStrstrU(LXLocale *handle, const LXUchar *s, int32_t len, const LXUchar *sub, int32_t sublen);
LX_API LXWchar *LXWcsstr(LXLocale *handle, const LXWchar *s, int32_t len, const LXWchar *sub, int32_t sublen);

/* The next token of s, or null.  No hidden position: *len_inout holds the
 * length left and *next_out where the next call starts (null at the end).
 * The delimiter ending the token is overwritten with NULs. */
LX_API unsigned char *LXStrtok(LXLocale *handle, unsigned char *s, int32_t *len_inout, const unsigned char *delims,
                               int32_t dlen, unsigned char **next_out, uint32_t flags);
/* As LXStrtok without writing into s: the token is copied into buf (one
 * byte kept for the NUL) and its length returned; *next_state_out gets the
 * state after the delimiter. */
LX_API int32_t LXStrtokEx(LXLocale *handle, unsigned char *buf, LXState bufstate, int32_t bufsize,
                          const unsigned char *s, LXState state, int32_t *len_inout, const unsigned char *delims,
                          LXState delimstate, int32_t dlen, const unsigned char **next_out,
                          LXState *next_state_out, uint32_t flags);
LX_API LXUchar *LXStrtokU(LXLocale *handle, LXUchar *s, int32_t *len_inout, const LXUchar *delims, int32_t dlen,
                          LXUchar **next_out);
LX_API LXWchar *LXWcstok(LXLocale *handle, LXWchar *s, int32_t *len_inout, const LXWchar *delims, int32_t dlen,
                         LXWchar **next_out);

/* Units (elements) before the terminating 0. */
LX_API int32_t LXStrlenU(LXLocale *handle, const LXUchar *s);
LX_API int32_t LXWcslen(LXLocale *handle, const LXWchar *s);

/* ------------------------------------------------------------------------
 * String mapping
 *
 * kind: LX_MAP_UPPER or LX_MAP_LOWER (plus LX_MAP_NOSPECIAL to skip the
 * language's special rules), LX_MAP_FULLWIDTH, LX_MAP_HALFWIDTH,
 * LX_MAP_DIGITS, LX_MAP_NONE or 0 (copy), and LX_LEN_CHARS in the multibyte
 * forms.  Another kind gives error 2 and -1.  A negative srclen maps the
 * terminator too.  Output stops before a character that does not fit in
 * dstsize; the count written is returned.
 * ------------------------------------------------------------------------ */

LX_API int32_t LXMapString(LXLocale *handle, unsigned char *dst, int32_t dstsize, const unsigned char *src,
                           int32_t srclen, uint32_t kind);
LX_API int32_t LXMapStringEx(LXLocale *handle, unsigned char *dst, LXState dststate, int32_t dstsize,
                             const unsigned char *src, LXState srcstate, int32_t srclen, uint32_t kind);
LX_API int32_t LXMapStringU(LXLocale *handle, LXUchar *dst, int32_t dstsize, const LXUchar *src, int32_t srclen,
                            uint32_t kind);
LX_API int32_t LXMapStringW(LXLocale *handle, LXWchar *dst, int32_t dstsize, const LXWchar *src, int32_t srclen,
                            uint32_t kind);

/* ------------------------------------------------------------------------
 * Conversion
 *
 * Between two locales' codesets, and between a codeset and Unicode, always
 * through one 16-bit Unicode value per character.  Conversion never fails on
 * a character: one the source's tables do not know becomes U+FFFD, and a
 * value the target cannot represent becomes its substitution byte.  UTF-8
 * (codeset number 106) is converted arithmetically; a UTF-8 character whose
 * first byte is F0 or above lies beyond 16 bits and becomes U+FFFD.
 *
 * Where two handles are taken, the target comes first.  The functions that
 * produce Unicode take the output buffer first and the handle third.
 *
 * flags of the string converters: 0, LX_LEN_CHARS (len, size and the result
 * count characters), LX_TERMINATE (the last unit of the output is kept for a
 * terminating 0, which is always written), or both; anything else is error 2
 * in the (target) handle.  A negative length means up to the source's
 * terminator, and the 0 is then written too when everything was converted
 * and there is room.  A character cut off by the length ends the conversion.
 * With LX_LEN_CHARS a positive multibyte len is turned into bytes by walking
 * the source, and that walk does not stop at a NUL.  When there is no locale
 * (a null handle and no default) a function returns its failure value and
 * touches nothing.
 * ------------------------------------------------------------------------ */

/* A conversion object from source's codeset to target's, for LXConvertBuffer;
 * null with error 20 in target when it cannot be allocated.  It keeps both
 * locales (null: the default at this call) without a reference: they must
 * outlive it. */
LX_API LXConversion *LXOpenConversion(LXLocale *target, LXLocale *source);

/* Converts *inLeft bytes at *in into the *outLeft bytes at *out and advances
 * all four.  Returns 0 when the input is used up, 52 when the output is full
 * (bytes that did not fit wait in the object and go first next call), 53
 * when the input ends inside a character (its bytes wait in the object).
 * Input is never handed back.  No closing shift-in is written: end a stateful
 * output with LXTerminateStringEx.  Null arguments: 2. */
LX_API int32_t LXConvertBuffer(LXConversion *conv, unsigned char **out, int32_t *outLeft,
                               const unsigned char **in, int32_t *inLeft);

/* Frees a conversion object (null is ignored).  Returns 0, or 21 when the
 * free function reports failure. */
LX_API int32_t LXCloseConversion(LXConversion *conv);

/* The most target bytes one source character can need: 1 for codesets of the
 * same number, else the target's max bytes, plus 1 for a stateful target's
 * shift byte.  0 when there is no locale. */
LX_API int32_t LXConversionRatio(LXLocale *target, LXLocale *source);

/* Converts len bytes of str (source's codeset) into buf (size bytes, target's
 * codeset); shift bytes are neither obeyed nor written.  Returns the bytes
 * (with LX_LEN_CHARS characters) written, the 0 included; stops before a
 * character that does not fit.  Error 2: -1, or 0 with LX_LEN_CHARS. */
LX_API int32_t LXConvertString(LXLocale *target, unsigned char *buf, int32_t size, LXLocale *source,
                               const unsigned char *str, int32_t len, uint32_t flags);

/* As LXConvertString, for stateful codesets: the source's shift bytes are
 * obeyed from sourceState, and the output, starting in targetState, gets a
 * shift byte wherever a character needs the other state.  A written 0 ends
 * the text in state 0: a shift-in goes before it, taking the last character
 * back when both do not fit (its bytes may stay in buf after the 0), and a
 * shift-out left bare is removed. */
LX_API int32_t LXConvertStringEx(LXLocale *target, unsigned char *buf, LXState targetState, int32_t size,
                                 LXLocale *source, const unsigned char *str, LXState sourceState,
                                 int32_t len, uint32_t flags);

/* Converts wlen LXWchars (source's codeset) into at most wmax LXWchars
 * (target's).  Returns how many were written, the 0 included; -1 on error 2. */
LX_API int32_t LXConvertStringW(LXLocale *target, LXWchar *wbuf, int32_t wmax, LXLocale *source,
                                const LXWchar *wstr, int32_t wlen, uint32_t flags);

/* Converts len bytes of str into at most umax LXUchars, one per character.
 * Returns how many were written, the 0 included; -1 on error 2. */
LX_API int32_t LXStringToUnicode(LXUchar *ubuf, int32_t umax, LXLocale *handle, const unsigned char *str,
                                 int32_t len, uint32_t flags);

/* As LXStringToUnicode, the shift bytes of a stateful codeset obeyed from
 * state and not converted. */
LX_API int32_t LXStringToUnicodeEx(LXUchar *ubuf, int32_t umax, LXLocale *handle,
                                   const unsigned char *str, LXState state, int32_t len, uint32_t flags);

/* As LXStringToUnicode, from wlen LXWchars. */
LX_API int32_t LXStringToUnicodeW(LXUchar *ubuf, int32_t umax, LXLocale *handle, const LXWchar *wstr,
                                  int32_t wlen, uint32_t flags);

/* Converts ulen LXUchars into buf (size bytes; characters with LX_LEN_CHARS).
 * Returns the bytes (characters) written, the 0 included.  Error 2: -1, or 0
 * with LX_LEN_CHARS. */
LX_API int32_t LXUnicodeToString(LXLocale *handle, unsigned char *buf, int32_t size, const LXUchar *ustr,
                                 int32_t ulen, uint32_t flags);

/* As LXUnicodeToString, the output starting in state with shift bytes
 * inserted, and closed in state 0 by a written 0 as LXConvertStringEx
 * closes it. */
LX_API int32_t LXUnicodeToStringEx(LXLocale *handle, unsigned char *buf, LXState state, int32_t size,
                                   const LXUchar *ustr, int32_t ulen, uint32_t flags);

/* Converts ulen LXUchars into at most wmax LXWchars.  Returns how many were
 * written, the 0 included; -1 on error 2. */
LX_API int32_t LXUnicodeToStringW(LXLocale *handle, LXWchar *wbuf, int32_t wmax, const LXUchar *ustr,
                                  int32_t ulen, uint32_t flags);

/* ------------------------------------------------------------------------
 * Information items
 *
 * Every locale object carries the items numbered LXI_*: part names and
 * numbers, the language's day, month and AM/PM names, the territory's
 * separators, currency conventions and formats, and facts about the
 * codeset.  Each item has a file value (from the locale parts) and a current
 * value, which differs only after an override in this one object; with
 * LX_FILE_VALUE a getter reads the file value.  Overrides survive a change
 * of territory or codeset and last until the object is released.  A failed
 * set changes nothing.  When there is no locale (a null handle and no
 * default) a function returns its failure value and touches nothing.
 *
 * Text getters copy whole characters, cut silently where the room ends, and
 * always write a terminator.  In a stateful codeset the text gets a shift
 * byte before each change of character width and is closed in state 0
 * before its terminator; the plain forms start in state 0.  The separators
 * (59-61, 66, 67) are read as one character: a larger size is taken as 2.
 * ------------------------------------------------------------------------ */

/* The value of a number item, or -1: error 2 for flags other than 0 and
 * LX_FILE_VALUE, 35 for a text or unknown item. */
LX_API int32_t LXGetLocaleNumInfo(LXLocale *handle, int32_t item, uint32_t flags);

/* Copies the item's text into buffer in the locale's codeset; returns the
 * bytes written with the terminator (characters with LX_LEN_CHARS, when size
 * counts characters too), 0 for a size of 0, or -1: error 2 for flags beyond
 * LX_FILE_VALUE | LX_LEN_CHARS, 35 for an item without text. */
LX_API int32_t LXGetLocaleTextInfo(LXLocale *handle, int32_t item, unsigned char *buffer, int32_t size,
                                   uint32_t flags);

/* As LXGetLocaleTextInfo, the output starting in the caller's shift state. */
LX_API int32_t LXGetLocaleTextInfoEx(LXLocale *handle, int32_t item, unsigned char *buffer, int32_t size,
                                     LXState state, uint32_t flags);

/* As LXGetLocaleTextInfo in UCS-2: size and result count units
 * (LX_LEN_CHARS is accepted and changes nothing). */
LX_API int32_t LXGetLocaleTextInfoU(LXLocale *handle, int32_t item, LXUchar *buffer, int32_t size,
                                    uint32_t flags);

/* As LXGetLocaleTextInfo with one LXWchar per character: size and result
 * count LXWchars (LX_LEN_CHARS is accepted and changes nothing). */
LX_API int32_t LXGetLocaleTextInfoW(LXLocale *handle, int32_t item, LXWchar *buffer, int32_t size,
                                    uint32_t flags);

/* The stored text of item 2..81 itself (current non-zero: the current value,
 * else the file value), its form written to *form: 1 UCS-2, 2 text in the
 * locale's codeset, 3 8-bit text in codeset 1.  A separator is one character
 * with no terminator after it.  Null with error 35 for an item without text,
 * and for items 13 and 14 when the default part is not registered. */
LX_API const void *LXLocaleGetTextItem(LXLocale *handle, int32_t item, int32_t current, int32_t *form);

/* As LXLocaleGetTextItem, but the current values of overridable items come
 * from their UCS-2 copies (form 1). */
LX_API const void *LXLocaleGetTextItemU(LXLocale *handle, int32_t item, int32_t current, int32_t *form);

/* Sets a number item, or selects a part by number (items 1, 5, 9, 11; sort
 * number 0 removes the sort part).  Returns 1, or 0: error 37 for a value
 * out of range or a part that is not registered, 20 when out of memory, 35
 * for any other item. */
LX_API int32_t LXSetLocaleNumInfo(LXLocale *handle, int32_t item, int32_t value);

/* Sets a text item from length bytes of text (-1: up to its NUL; characters
 * with LX_LEN_CHARS), or selects a part by name (items 2, 6, 10, 12).
 * Returns 1 (also for an empty text, which changes nothing), or 0: error 2
 * for flags other than 0 and LX_LEN_CHARS, 35 for an item that cannot be
 * set, 37 for a rejected separator or an unknown part, 20 when out of
 * memory. */
LX_API int32_t LXSetLocaleTextInfo(LXLocale *handle, int32_t item, const unsigned char *text, int32_t length,
                                   uint32_t flags);

/* As LXSetLocaleTextInfo, the text starting in the caller's shift state. */
LX_API int32_t LXSetLocaleTextInfoEx(LXLocale *handle, int32_t item, const unsigned char *text,
                                     int32_t length, LXState state, uint32_t flags);

/* As LXSetLocaleTextInfo from length UCS-2 units (-1: up to a 0 unit),
 * converted into the locale's codeset. */
LX_API int32_t LXSetLocaleTextInfoU(LXLocale *handle, int32_t item, const LXUchar *text, int32_t length,
                                    uint32_t flags);

/* As LXSetLocaleTextInfo from length LXWchars (-1: up to a 0 value). */
LX_API int32_t LXSetLocaleTextInfoW(LXLocale *handle, int32_t item, const LXWchar *text, int32_t length,
                                    uint32_t flags);

/* ------------------------------------------------------------------------
 * Locale objects
 *
 * A locale is named Language[_Territory][.Codeset][@Sort], at most 131
 * bytes; each component is a part name, compared without regard to ASCII
 * case.  An absent or empty language is "English"; an absent or empty
 * territory, codeset or sort is the language's default.  The sort "BINARY"
 * (any case) is binary collation.  A longer name is rejected with 37 and
 * never read past its 132nd character.
 *
 * flags: 0, LX_USER_DEFAULT (the name argument is ignored: LX_LANG names the
 * locale, cut to 131 bytes; unset, the empty name), LX_FALLBACK (a named
 * part that does not exist is replaced by its default: the language by
 * English); other bits are error 2.  Not found: 31 language, 34 territory,
 * 30 codeset, 33 sort; 20 out of memory; 11 when a part cannot be loaded or
 * the library is not started.  err may be null.
 * ------------------------------------------------------------------------ */

/* A new locale object, owned by the caller (free it with LXReleaseLocale),
 * or null with *err set.  A null name is the empty name. */
LX_API LXLocale *LXGetLocale(const char *name, uint32_t flags, int32_t *err);

/* As LXGetLocale from a UCS-2 name, converted into codeset 1 (in which part
 * names are written) first. */
LX_API LXLocale *LXGetLocaleU(const LXUchar *name, uint32_t flags, int32_t *err);

/* As LXGetLocale from a wide name: "_", "." and "@" separate only as those
 * exact values, and each component is matched by the low byte of each of
 * its characters. */
LX_API LXLocale *LXGetLocaleW(const LXWchar *name, uint32_t flags, int32_t *err);

/* Makes a new locale the default that null handles stand for, releasing the
 * previous default.  Returns 0, or LXGetLocale's code with the default left
 * as it was.  Takes no lock: call it while no other thread uses the default. */
LX_API int32_t LXSetLocale(const char *name, uint32_t flags);

/* As LXSetLocale with LXGetLocaleU. */
LX_API int32_t LXSetLocaleU(const LXUchar *name, uint32_t flags);

/* As LXSetLocale with LXGetLocaleW. */
LX_API int32_t LXSetLocaleW(const LXWchar *name, uint32_t flags);

/* As LXEnumLocales, each name given as UCS-2 through codeset 1's table
 * (which is loaded for this). */
LX_API int32_t LXEnumLocalesU(LXEnumFnU callback, uintptr_t user);

/* As LXEnumLocales, each name byte given as one LXWchar of its value. */
LX_API int32_t LXEnumLocalesW(LXEnumFnW callback, uintptr_t user);

#ifdef __cplusplus
}
#endif

#endif /* LORVEX_H */
