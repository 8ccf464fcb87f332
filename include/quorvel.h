#ifndef QUORVEL_H
#define QUORVEL_H
/*
 * Quorvel: finds duplicate and similar items in mail stores reached through the messaging platform (MAPI).
 *
 * The one public header, for C11 and C++. Exports are grouped by family:
 *
 *   Quorvel_*        log, sessions, stores, items, property values, attachments
 *   Search_*         duplicate search
 *   SimilarSearch_*  similar-contact search
 *   CmpMatrix_*      comparison matrix
 *   Appointment_*, Normalize_*   calendar normalisations
 *   FCI_*            cabinet writer
 *
 * Threads: every call runs on the caller's thread; the library starts none and takes no locks. One handle is
 * used by one thread at a time.
 *
 * Memory: a handle owns everything it allocated until its *_Delete. Buffers that store-access exports hand
 * out come from MAPIAllocateBuffer and are freed by the caller with MAPIFreeBuffer; objects they hand out are
 * released with Quorvel_CloseItem, Quorvel_CloseFolder or Quorvel_CloseStore. Objects that are handed in stay
 * the caller's.
 *
 * Entry identifiers cross this boundary only as entry-identifier text: 8-bit, upper-case hexadecimal, two
 * digits a byte, terminated by a zero.
 */

#include <windows.h>
#include <mapix.h>
#include <stddef.h>

#if defined(QUORVEL_STATIC)
#define QUORVEL_API
#else
#define QUORVEL_API __declspec(dllimport)
#endif

#ifdef __cplusplus
#define QUORVEL_ASSERT static_assert
extern "C" {
#else
#define QUORVEL_ASSERT _Static_assert
#endif

/* ---- Records and constants
 * -------------------------------------------------------------------------------------- */

/* How two values of a property are compared. A method that does not apply to a type is ignored for that type.
 */
typedef enum ECompareMethod {
    cmExact = 0,                 /* texts without regard to case; times and numbers exactly */
    cmTimeWithin10Min = 1,       /* times at most 599 whole seconds apart are equal */
    cmTimeWithinDay = 2,         /* times at most 86,400 whole seconds apart are equal */
    cmApntAlldaylikeSubject = 3, /* duplicate search: birthday and anniversary subjects in any word order */
    cmLast7Digits = 4,           /* texts by their last seven decimal digits */
    cmDayAndMonth = 5,           /* times by day and month, years within reason */
    cmApntAlldaylikeStart = 6,   /* duplicate search: all-day-like starts moved to their midnight */
    cmRecipients = 7,            /* recipient lists, without regard to order */
    cmApntApproxStart = 8        /* duplicate search: starts less than a day apart */
} ECompareMethod;

/* How the copy to keep is chosen among duplicates (TOriginalDefinition.nKind). */
typedef enum EOriginalKind {
    okMostFilled = 0,
    okCallerOrder = 1,
    okLargestValues = 2,
    okCallerOrder2 = 3,
    okLargestItem = 4,
    okFieldValue = 5,
    okApntRecurrence = 6,
    okHasCrmId = 7
} EOriginalKind;

/* One property that a search or a matrix reads and compares. */
typedef struct TComparyProp {
    const wchar_t* lpszKey;  /* the caller's key, used in log lines; may be null (an empty key) */
    const wchar_t* lpszName; /* display name, used in log lines; may be null */
    unsigned int nReserved;  /* copied, never interpreted */
    unsigned int ulPropTag;  /* property tag; 0: a named property whose tag is not resolved yet */
    const char*
        lpszGuid; /* property set of a named property, "{00062002-0000-0000-C000-000000000046}"; or null */
    int nID;      /* numeric name; in the library's own set the number of a derived property, 1 to 6 */
    const wchar_t* lpszID;       /* string name, used when nID is 0; may be null */
    unsigned int nType;          /* PT_* of the value; low 16 bits of a resolved tag */
    unsigned int nInterface;     /* 0: plain value; 1: read and compared through a stream */
    unsigned int bCompare;       /* non-zero: compared; 0: only read for choosing the original */
    unsigned int nCompareMethod; /* ECompareMethod */
    int nGroup;                  /* group number, used in grouped mode */
} TComparyProp;

/* A list of property definitions. Create functions copy it: the caller may free it as soon as they return. */
typedef struct TComparyProps {
    int n;                 /* number of entries */
    TComparyProp* lpProps; /* n entries */
} TComparyProps;

/* How the original of each group of duplicates is chosen. */
typedef struct TOriginalDefinition {
    unsigned int nKind;  /* EOriginalKind; a value above 7 works as okMostFilled */
    unsigned int nField; /* okFieldValue: index of the entry in the caller's list, skipped entries counted */
    unsigned int nFieldType;    /* okFieldValue: PT_STRING8 or PT_UNICODE */
    unsigned char reserved[36]; /* not read */
    const void* lpszValue;      /* okFieldValue: the wanted text, 8-bit or wide as nFieldType says */
} TOriginalDefinition;

QUORVEL_ASSERT(sizeof(TComparyProp) == 72, "TComparyProp is laid out for 64-bit Windows");
QUORVEL_ASSERT(offsetof(TComparyProp, ulPropTag) == 20, "offset of ulPropTag");
QUORVEL_ASSERT(offsetof(TComparyProp, lpszGuid) == 24, "offset of lpszGuid");
QUORVEL_ASSERT(offsetof(TComparyProp, nID) == 32, "offset of nID");
QUORVEL_ASSERT(offsetof(TComparyProp, lpszID) == 40, "offset of lpszID");
QUORVEL_ASSERT(offsetof(TComparyProp, nType) == 48, "offset of nType");
QUORVEL_ASSERT(offsetof(TComparyProp, nGroup) == 64, "offset of nGroup");
QUORVEL_ASSERT(sizeof(TComparyProps) == 16, "TComparyProps is laid out for 64-bit Windows");
QUORVEL_ASSERT(offsetof(TComparyProps, lpProps) == 8, "offset of lpProps");
QUORVEL_ASSERT(sizeof(TOriginalDefinition) == 56, "TOriginalDefinition is laid out for 64-bit Windows");
QUORVEL_ASSERT(offsetof(TOriginalDefinition, lpszValue) == 48, "offset of lpszValue");

/* ---- Interface level and log
 * ------------------------------------------------------------------------------------ */

/* The interface level of this library: always 4. */
QUORVEL_API int Quorvel_GetCompatibleCode(void);

/* Configures the log; extra logging is switched off. Either path may be null: that file is then not written.
 * The files named are trimmed at once and opened by the first line that needs them. debugOutput non-zero
 * sends every line to the debugger output too. Informational lines are written when their verbosity is at
 * most the given one. Note the order: the error file comes first. */
QUORVEL_API void Quorvel_ConfigLog(const char* errPath, const char* logPath, int debugOutput, int verbosity);
/* The same; extra non-zero switches extra logging (long dumps of items, trees and rules) on. */
QUORVEL_API void Quorvel_ConfigLogEx(const char* errPath, const char* logPath, int debugOutput, int verbosity,
                                     int extra);
/* The configured path, or null. The text is the log's and lives until the next configuration. */
QUORVEL_API const char* Quorvel_GetFilenameLog(void);
QUORVEL_API const char* Quorvel_GetFilenameErr(void);

/* ---- Sessions, stores, items
 * ------------------------------------------------------------------------------------ */

/* ---- Reading property values
 * ------------------------------------------------------------------------------------ */

/* ---- Named properties
 * ------------------------------------------------------------------------------------------- */

/* ---- Attachments and item operations
 * ---------------------------------------------------------------------------- */

/* ---- Comparing property values
 * ---------------------------------------------------------------------------------- */

/* ---- Calendar normalisations
 * ------------------------------------------------------------------------------------ */

/* ---- Duplicate search
 * ------------------------------------------------------------------------------------------- */

/* ---- Similar-contact search
 * ------------------------------------------------------------------------------------- */

/* ---- Comparison matrix
 * ------------------------------------------------------------------------------------------ */

/* ---- Cabinet writer
 * --------------------------------------------------------------------------------------------- */

/* Packs files into a cabinet (.cab) with MSZIP compression, through the system's own cabinet library.
 *
 * All texts are in the ANSI code page. One handle is one cabinet: create, add files, flush, delete. A failed
 * call leaves the handle good for FCI_Delete only: the system's library takes nothing more after it. */

/* Starts the cabinet directory + name: the two are put together as given, so directory ends in a backslash
 * (or is empty: the current directory). Each counts up to 255 bytes, the rest is ignored. The cabinet itself
 * is written by FCI_FlushCabinet; a directory that does not exist is noticed there.
 * Returns a handle, to be given to FCI_Delete; null when the system has no cabinet library or it refuses
 * (no room for temporary files, a null text): the Error line "GetLastError = 0x%x" then says why. */
QUORVEL_API void* FCI_Create(const char* directory, const char* name);
/* Adds the file source under storedName, which may hold backslashes for subfolders (255 bytes at most). Kept
 * with it are the last write, as local time in steps of two seconds, years 1980 to 2107, and the read-only,
 * hidden, system and archive attributes.
 * Returns non-zero on success, 0 on failure: source missing or not readable, no room for temporary files, a
 * null argument. Nothing is logged. */
QUORVEL_API int FCI_AddFile(void* handle, const char* source, const char* storedName);
/* Completes the cabinet and writes it. Returns non-zero on success; 0 on failure (the directory is missing,
 * cannot be written or is full, an earlier call failed, no content was added, null handle): whatever is on
 * the disk then is no whole cabinet. */
QUORVEL_API int FCI_FlushCabinet(void* handle);
/* Ends the work and frees the handle and all temporary files; null is ignored. Does not flush: a cabinet that
 * was not flushed is incomplete. */
QUORVEL_API void FCI_Delete(void* handle);

#ifdef __cplusplus
}
#endif
#endif
