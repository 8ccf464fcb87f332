#ifndef QUORVEL_H
#define QUORVEL_H
/*
 * Quorvel: finds duplicate and similar items in mail stores reached through the messaging platform (MAPI).
 *
 * The public header, for C11 and C++; quorvel_host.h beside it helps hosts to free memory. Exports are grouped
 * by family:
 *
 *   Quorvel_*        log, sessions, stores, items, property values, attachments
 *   Search_*         duplicate search
 *   SimilarSearch_*  similar-contact search
 *   CmpMatrix_*      comparison matrix
 *   Appointment_*, Normalize_*   calendar normalisations
 *   FCI_*            cabinet writer
 *
 * Threads: every call runs on the caller's thread; the library starts none and takes no locks. One handle is
 * used by one thread at a time. Texts are compared by the locale of the thread; a search, a similar search or a
 * matrix keeps the one that its thread had when it was created, sets it for each of its calls and puts the
 * caller's back.
 *
 * Memory: a handle owns everything it allocated until its *_Delete. Buffers that store-access exports hand
 * out are the caller's and go back through MAPIFreeBuffer of the platform's module that the library's look-up
 * loaded (below, at sessions): the session's own module when Quorvel_Logon made the session, and not
 * necessarily the mapi32.dll that a host is linked to, which must not free them. quorvel_host.h finds that
 * function from the session. Objects that are handed out are released with Quorvel_CloseItem,
 * Quorvel_CloseFolder or Quorvel_CloseStore. Objects that are handed in stay the caller's.
 *
 * Entry identifiers cross this boundary only as entry-identifier text: 8-bit, upper-case hexadecimal, two
 * digits a byte, terminated by a zero.
 */

#include <windows.h>
#include <mapix.h>
#include <oaidl.h>
#include <stdbool.h>
#include <stddef.h>

#include "quorvel_version.h" /* QUORVEL_VERSION, a text, and its three numbers */

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

/* ---- Records and constants ------------------------------------------------------------------- */

/* How two values of a property are compared. A method that does not apply to a type is ignored for it. */
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
    /* property set of a named property, "{00062002-0000-0000-C000-000000000046}"; or null */
    const char* lpszGuid;
    int nID; /* numeric name; in the library's own set the number of a derived property, 1 to 6 */
    const wchar_t* lpszID; /* string name, used when nID is 0; may be null */
    unsigned int nType;    /* PT_* of the value; low 16 bits of a resolved tag */
    /* 0: plain value; 1: read and compared through a stream. For texts: a stream that is no text counts as empty
     * whenever it holds something (Quorvel_StreamPropEmpty), and so tells no two items apart. */
    unsigned int nInterface;
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

/* Handles: each the address of an object of the library's, and a type of its own, so that one kind does not
 * pass for another. */
typedef struct TSearchHandle* HSearch;               /* Search_* */
typedef struct TSimilarSearchHandle* HSimilarSearch; /* SimilarSearch_* */
typedef struct TCmpMatrixHandle* HCmpMatrix;         /* CmpMatrix_* */
typedef struct TFciHandle* HFci;                     /* FCI_* */

/* ---- Interface level and log ----------------------------------------------------------------- */

/* The interface level of this library: always 4. */
QUORVEL_API int Quorvel_GetCompatibleCode(void);

/* Configures the log; extra logging is switched off. Either path may be null: that file is then not written.
 * The files named are trimmed at once and opened by the first line that needs them. Trimming writes a file of the
 * same name with a "1" behind it and puts it in the place of the old one; a file whose temporary name is that of
 * the other file is not trimmed. Two processes must not share a file: each would trim it under the other, and
 * their lines would mix. debugOutput non-zero
 * sends every line to the debugger output too. Informational lines are written when their verbosity is at
 * most the given one. Note the order: the error file comes first. */
QUORVEL_API void Quorvel_ConfigLog(const char* errPath, const char* logPath, int debugOutput, int verbosity);
/* The same; extra non-zero switches extra logging (long dumps of items, trees and rules) on. */
QUORVEL_API void Quorvel_ConfigLogEx(const char* errPath, const char* logPath, int debugOutput, int verbosity,
                                     int extra);
/* The configured path, or null. The text is the log's and lives until the next configuration. */
QUORVEL_API const char* Quorvel_GetFilenameLog(void);
QUORVEL_API const char* Quorvel_GetFilenameErr(void);

/* ---- Sessions, stores, items ----------------------------------------------------------------- */

/*
 * What holds for all functions of the store-access families below, unless one says otherwise:
 *
 * Results are the platform's, 0 for success. Any other result writes one error line to the log under the
 * function's name, with the result in it. Without a messaging platform on the machine they are E_FAIL or
 * MAPI_E_NOT_ENOUGH_MEMORY, without memory the latter.
 *
 * Outputs are written on success; on failure a single object or number keeps what the caller had there.
 * Output pointers and objects must not be null; texts may be (null counts as empty).
 *
 * The platform's module is looked for at the first call that needs it: the mail client that the machine's key
 * Software\Microsoft\Windows Messaging Subsystem\MSMapiApps names for the program's file, then the default
 * mail client, then the system's mapi32.dll. When none of them is one, an informational line for each says
 * what was tried and why it was not taken, and the next Quorvel_Logon looks again. The module stays loaded until
 * the process ends. A host that logs on by itself does so through this module: a session of another one would mix
 * two modules' memory.
 *
 * A call of the platform that says success and hands out nothing has failed with MAPI_E_CALL_FAILED, for the
 * log as for the caller. A stream that gives less than it was asked for may say S_FALSE: that is success.
 */

/* Initialises the platform and logs on without naming a profile. newSession non-zero: a session of the caller's
 * own. Otherwise the running session of the mail client is joined; without one the client asks for a profile
 * in its own logon window when showLogonUi is non-zero, and the logon fails when it is 0. The session is ended
 * with Quorvel_Logoff, and only when this function succeeded. A platform that was not found before is looked
 * for again. */
QUORVEL_API HRESULT Quorvel_Logon(IMAPISession** session, int newSession, int showLogonUi);
/* Logs off, releases the session and uninitialises the platform: all three, whatever the logoff's result,
 * which is returned. The session is gone in any case. */
QUORVEL_API HRESULT Quorvel_Logoff(IMAPISession* session);

/* Open by entry-identifier text, with the best access that the platform grants. The object is the caller's
 * and is closed with the Close function of its kind. Digits may be of either letter case; an odd last digit
 * is ignored. */
QUORVEL_API HRESULT Quorvel_OpenStore(IMAPISession* session, const char* storeId, IMsgStore** out);
QUORVEL_API HRESULT Quorvel_OpenStoreFolder(IMsgStore* msgStore, const char* folderId, IMAPIFolder** out);
QUORVEL_API HRESULT Quorvel_OpenStoreItem(IMsgStore* msgStore, const char* entryId, IMessage** out);
QUORVEL_API HRESULT Quorvel_OpenFolderItem(IMAPIFolder* folder, const char* entryId, IMessage** out);
/* Opens an item of a store that is opened for the call only. Logged as Quorvel_OpenItem, both. */
QUORVEL_API HRESULT Quorvel_OpenItem(IMAPISession* session, const char* entryId, const char* storeId,
                                     IMessage** out);
/* The same with open flags of the platform for the item (0: read only, MAPI_MODIFY, MAPI_BEST_ACCESS). */
QUORVEL_API HRESULT Quorvel_OpenItemEx(IMAPISession* session, const char* entryId, const char* storeId,
                                       int flags, IMessage** out);

/* The caller's object as a message. object holds an interface pointer (VT_UNKNOWN); one that does not writes
 * an assertion line, and the function goes on. query 0: *out is the very pointer, without a new reference;
 * result 0. Otherwise *out is what the object answers for the message interface, to be closed with
 * Quorvel_CloseItem, or null and a failure (E_INVALIDARG without an object). */
QUORVEL_API HRESULT Quorvel_GetIMessage(VARIANT object, IMessage** out, int query);
/* The same for a plain interface pointer. */
QUORVEL_API HRESULT Quorvel_GetIMessageNet(IUnknown* object, IMessage** out, int query);

/* Release what was opened; null is ignored. One function under three names. */
QUORVEL_API void Quorvel_CloseItem(IMessage* item);
QUORVEL_API void Quorvel_CloseFolder(IMAPIFolder* folder);
QUORVEL_API void Quorvel_CloseStore(IMsgStore* msgStore);
/* Saves an item's changes; flags are the platform's (KEEP_OPEN_READWRITE, ...). Nothing is logged. */
QUORVEL_API HRESULT Quorvel_SaveItem(IMessage* item, unsigned long flags);

/* The item's entry identifier as text, freed by the caller with MAPIFreeBuffer; null on failure. */
QUORVEL_API char* Quorvel_EntryID2Str(IMessage* item);

/* Texts that the profile keeps of a message service, found by its UID as hexadecimal text: file name of its
 * module, name of the module's entry point, name of the service, display name. Each output may be null, not
 * all four. Each that is given receives a text, freed by the caller with MAPIFreeBuffer, or null when the
 * service has none. They are touched only once the service was found. -1 for a null session, a null UID or no
 * output; MAPI_E_NOT_FOUND, without a log line, for a service that the profile does not have. */
QUORVEL_API HRESULT Quorvel_GetServiceProps(IMAPISession* session, const char* serviceUid, char** dllName,
                                            char** entryName, char** serviceName, char** displayName);
/* What kind of service provides a store: 0 personal folders file, 1 server, -1 any other. -1 as result for a
 * null argument or an empty identifier; MAPI_E_NOT_FOUND, without a log line, for a store that the profile
 * does not have; 0 with *type unchanged, and an error line, for a store that names no service. */
QUORVEL_API HRESULT Quorvel_GetStoreType(IMAPISession* session, const char* storeId, int* type);
/* *local: 1 for a personal folders file, 0 for any other kind. Results as Quorvel_GetStoreType. For a store
 * that names no service the value that *local held is taken for the kind. */
QUORVEL_API HRESULT Quorvel_IsStoreLocal(IMAPISession* session, const char* storeId, int* local);

/* ---- Reading property values ----------------------------------------------------------------- */

/*
 * Values and buffers are blocks of MAPIAllocateBuffer, freed by the caller with one MAPIFreeBuffer; on
 * failure they are null and counts and sizes 0. Property objects are items, folders, stores and attachments
 * alike.
 */

/* One property. A property that the object does not have is a value of type PT_ERROR and the result
 * MAPI_W_ERRORS_RETURNED. Nothing is logged. */
QUORVEL_API HRESULT Quorvel_GetPropValue(IMAPIProp* object, long tag, SPropValue** value);
/* Several properties in one request: values in the order of the tags, *count of them; -1 for a null list of
 * tags, here and wherever a function takes one. MAPI_W_ERRORS_RETURNED when at least one is a PT_ERROR value. A failure is not logged; a count other than that of the tags is a
 * warning line. */
QUORVEL_API HRESULT Quorvel_GetPropValues(IMAPIProp* object, SPropTagArray* tags, unsigned long* count,
                                          SPropValue** values);
/* Several single values of one type as one multi-valued value of that type with property id 0: those that the
 * item has and that are not empty, in the order of the tags. Without any, the value is PT_ERROR with
 * MAPI_E_NOT_FOUND. Result 0 or MAPI_W_ERRORS_RETURNED; MAPI_E_INVALID_TYPE when the values found differ in
 * type (8-bit and wide texts do) or have no multi-valued form. */
QUORVEL_API HRESULT Quorvel_GetPropValuesInOneMValue(IMessage* item, SPropTagArray* tags, SPropValue** value);

/* A property read whole through a stream, for bodies and other values too large to come otherwise. *count
 * receives the number of bytes. addTerminator non-zero: two zero bytes, not counted, follow them. A missing
 * or empty property is a null buffer, count 0 and result 0. */
QUORVEL_API HRESULT Quorvel_GetStreamPropValue(IMAPIProp* object, long tag, void** buffer,
                                               unsigned long* count, int addTerminator);
/* The stream's size in bytes, without reading it; 0 when the property is missing. The low 32 bits of a larger
 * one. */
QUORVEL_API HRESULT Quorvel_StreamPropSize(IMAPIProp* object, unsigned long tag, unsigned long* size);
/* Whether a stream is empty, from its first 256 bytes. A text is empty (*empty 1) when its first character is
 * a zero; the plain-text body also when it is a line break alone or one after a blank; a missing property is.
 * For any other type the answer is inverted: 1 when there is at least one byte, 0 when there is none. size
 * may be null; else it receives the stream's size in bytes, or 0 when *empty is 1. On failure *empty is 1. */
QUORVEL_API HRESULT Quorvel_StreamPropEmpty(IMessage* item, unsigned long tag, int* empty,
                                            unsigned long* size);

/* Bytes of the item's subject without terminator, wide or 8-bit. values, count of them, may hold the subject
 * already; else (null, 0, or not among them) it is read. 0 bytes and result 0 when the item has none. A
 * failed read is not logged. */
QUORVEL_API HRESULT Quorvel_GetSubjectSize(IMessage* item, int wide, unsigned long* size, SPropValue* values,
                                           unsigned long count);
/* Bytes of subject, plain-text body (both wide or 8-bit) and attachments together; a part that cannot be
 * measured counts as 0. The result is the number, not a result code. values as for Quorvel_GetSubjectSize. */
QUORVEL_API unsigned long Quorvel_GetSubjectBodyAttachmentsSize(IMessage* item, int wide, SPropValue* values,
                                                                unsigned long count);

/* ---- Named properties ------------------------------------------------------------------------ */

/* Names are looked up in the item's store, never created. */

/* Property tag of one name, of type PT_UNSPECIFIED (low 16 bits 0). *tag is 0 on failure, and a name that the
 * store does not know is one (MAPI_W_ERRORS_RETURNED). */
QUORVEL_API HRESULT Quorvel_GetIDFromName(IMessage* item, MAPINAMEID* name, unsigned long* tag);
/* Property tag of numeric name id in a property set, given as GUID text, with the property type in its low 16
 * bits; 0 on failure. The result is the tag, not a result code. */
QUORVEL_API unsigned long Quorvel_GetIDFromName2(IMessage* item, const char* guid, long id,
                                                 unsigned long type);
/* The platform's look-up of one name; count must be 1. *tags, freed by the caller with MAPIFreeBuffer, is
 * handed out with result 0 and with MAPI_W_ERRORS_RETURNED (an error line is written), and null otherwise. */
QUORVEL_API HRESULT Quorvel_GetIDsFromNames(IMessage* item, unsigned long count, MAPINAMEID* name,
                                            SPropTagArray** tags);
/* Fills in ulPropTag of every entry of the list that has a property set and tag 0: the id that the item's
 * store gives the name, with the entry's nType. An entry whose name is unknown there, or whose set is no
 * GUID, keeps tag 0 and is logged; entries of the library's own set {7A3C5E19-4B82-4D6F-9E15-3F8A2C6B7D40}
 * keep 0 without a line. The result is that of the last look-up alone. */
QUORVEL_API HRESULT Quorvel_ResolveTags(IMessage* item, TComparyProps* props);

/* ---- Attachments and item operations --------------------------------------------------------- */

/* Attachments are named by their number (PR_ATTACH_NUM) in their item. */

/* Numbers of the item's attachments in table order, freed by the caller with MAPIFreeBuffer; null, 0 and
 * result 0 when it has none. On failure null and 0. */
QUORVEL_API HRESULT Quorvel_GetAttachments(IMessage* item, long** numbers, unsigned long* count);
/* Sum of the sizes in bytes that the attachment table gives; an attachment without a size is logged and left
 * out. *total is 0 on failure. */
QUORVEL_API HRESULT Quorvel_GetAttachmentsSize(IMessage* item, unsigned long* total);
/* Opens an attachment read-only; the caller releases it. */
QUORVEL_API HRESULT Quorvel_OpenAttachment(IMessage* item, long number, IAttach** out);
/* Copies an attachment of source to target, which may be the same item, and saves the copy; *newNumber is its
 * number. The copy is never a contact photo, and a visible one gets no fixed place in the body. saveTarget
 * non-zero: the target is saved too; otherwise the caller does. Adjusting and saving never change the
 * result. */
QUORVEL_API HRESULT Quorvel_CopyAttachment(IMessage* target, unsigned long* newNumber, IMessage* source,
                                           long number, int saveTarget);
/* Deletes an attachment. save non-zero: the item is saved, even when the deletion failed. */
QUORVEL_API HRESULT Quorvel_DeleteAttachment(IMessage* item, long number, int save);
/* Copies a picture attachment of source onto a contact as its photo and sets the contact's photo flag. The
 * photo that the contact had is deleted; further attachments marked as photos are turned into ordinary ones
 * by copying (never deleted before their copy is made). save non-zero: the contact is saved. The result is
 * that of the copy or, when that succeeded, of marking it as a photo.
 *
 * The order: copy, mark the copy as photo, delete the former photo, save the copy, save the contact. The result
 * says nothing of the saving. When the copy cannot be saved but the contact is, the contact has lost its former
 * photo and has no new one. A host that cannot have that passes 0 for save, looks with Quorvel_GetAttachments
 * whether *newNumber is there, and only then saves the contact with Quorvel_SaveItem; releasing it unsaved
 * leaves it as it was. */
QUORVEL_API HRESULT Quorvel_SetPhotoAttachment(IMessage* contact, unsigned long* newNumber, IMessage* source,
                                               long number, int save);
/* Clears the contact's photo flag. save non-zero: the contact is saved, even when that failed. */
QUORVEL_API HRESULT Quorvel_ClearHasPhotoFlag(IMessage* contact, int save);

/* Entry-identifier text of the first item of the folder with this search key (a PR_SEARCH_KEY value), copied
 * with its terminator into the caller's buffer. No length is passed: the buffer must have 1,024 bytes. Untouched,
 * with result 0, when there is no such item, and, with an error line, when its identifier cannot be read or its
 * text has more than 1,023 characters. */
QUORVEL_API HRESULT Quorvel_FindItem(IMAPIFolder* folder, SPropValue* searchKey, char* entryId);
/* Moves an item from one folder to another, in the same store or another one. newEntryId may be null; else it
 * is a buffer as for Quorvel_FindItem, which receives the item's new identifier after the move, or an empty
 * text when it cannot be found; it may be the buffer of entryId. -1, before anything is asked of the platform, for
 * a target folder's text of less than two characters: everywhere else such a text is an identifier without
 * bytes, which opens the root folder of a store. With the same folder and store (texts
 * compared without regard to case) nothing moves, and newEntryId receives the identifier given. A failed move
 * is not logged, a failed opening is, under the name of the Open function concerned.
 * What newEntryId is worth: it is the first item of the target folder with the moved item's search key, and
 * real copies share that key. Where a copy stands there already it may be the copy's. A host that has to find
 * the item again looks which identifiers stand in the target with the key now and did not before the move.
 * The look-up reads the target folder, so many moves cost their number times its size; null leaves it out. */
QUORVEL_API HRESULT Quorvel_ItemMove(IMAPISession* session, const char* entryId, const char* srcFolderId,
                                     const char* srcStoreId, const char* dstFolderId, const char* dstStoreId,
                                     char* newEntryId);

/* ---- Comparing property values --------------------------------------------------------------- */

/* Compares two values of one property under a method. Returns TRUE with *pnResult set: negative when pv1
 * sorts before pv2, 0 when they count as equal, positive otherwise; only the sign means something. Values of
 * different types are ordered by their types' numbers, with a warning in the log. Returns FALSE, logged and
 * *pnResult untouched, when a value is null, when the property ids (high 16 bits of the tags) differ, or when
 * a value is of type PT_ERROR.
 *
 * Worth knowing before sorting by it: PT_I8 and PT_CURRENCY values never compare equal; PT_R4 values are all
 * equal; PT_LONG values more than 2^31 apart compare the wrong way round; binaries, and multi-valued numbers
 * by their bytes, are ordered by count first; the tolerant methods on times are not transitive. Texts are
 * compared without regard to case in the user's locale. A recipient list (cmRecipients) is normalised in
 * place by its first comparison. */
QUORVEL_API int Quorvel_ComparePropValues(SPropValue* pv1, SPropValue* pv2, long* pnResult,
                                          ECompareMethod method);

/* Tells whether a value is empty: a text without characters, a binary without bytes, a multi-valued value
 * without elements (elements that are empty texts count), or a PT_ERROR value of MAPI_E_NOT_FOUND. Numbers,
 * booleans and times are never empty. Returns TRUE with *pbEmpty set; FALSE, logged and *pbEmpty untouched,
 * for a null value or any other error value. *pnSize (may be null) receives characters, bytes or elements, 1
 * for a type that is never empty, and 0 whenever the value is an error or null. */
QUORVEL_API int Quorvel_IsEmptyValue(SPropValue* pv, int* pbEmpty, unsigned long* pnSize);

/* Tells whether two multi-valued texts share an element under a method (cmExact or cmLast7Digits); empty
 * elements are shared with none. *pbIntersects is 0 or 1. Returns 0 when decided, and also, logged, when pv1
 * is null (*pbIntersects untouched), is not multi-valued or is of another type than pv2; -1, logged, for
 * multi-valued values other than texts. pv2 must not be null. */
QUORVEL_API long Quorvel_IsMVPropsIntersects(SPropValue* pv1, SPropValue* pv2, int* pbIntersects,
                                             ECompareMethod method);

/* Compares a property of two messages through streams, 512 bytes at a time: PT_UNICODE without regard to
 * case, every other type byte for byte. *pbCompared tells whether there was something to compare: it is false
 * when the property is missing or empty on either side, which is no failure, and after a failure; *pnResult
 * is then untouched. Otherwise *pnResult is negative, 0 or positive as for values. Returns the platform's
 * result, S_OK when both were read. A zero inside a wide text ends its comparison within the block of 512 bytes
 * that it is in: what follows it there counts for nothing, the next block counts again. */
QUORVEL_API HRESULT Quorvel_CompareStreamProp(IMessage* msg1, IMessage* msg2, unsigned long ulPropTag,
                                              long* pnResult, bool* pbCompared);

/* Counts the filled ones among so many values into *pnFilled. sizes (may be null) has one entry a value: that
 * of a filled value receives its size as Quorvel_IsEmptyValue reports it, the others are left as they are.
 * Error values do not count; errors other than MAPI_E_NOT_FOUND are logged. */
QUORVEL_API void Quorvel_CountProps2(SPropValue* values, unsigned long count, long* pnFilled,
                                     unsigned long* sizes);

/* Reads the tags of an item in one request and counts as Quorvel_CountProps2; sizes (may be null) has one
 * entry a tag. Returns the platform's result: S_OK, MAPI_W_ERRORS_RETURNED when single properties could not
 * be read, or a failure, logged, with *pnFilled 0. */
QUORVEL_API HRESULT Quorvel_CountProps(IMessage* item, SPropTagArray* tags, long* pnFilled,
                                       unsigned long* sizes);

/* Counts the properties with something in their streams, as Quorvel_StreamPropEmpty judges them, in the order
 * of the tags. sizes (may be null) has one entry a tag and receives each stream's size. Returns the result of
 * the last test, S_OK for no tags. */
QUORVEL_API HRESULT Quorvel_CountStreamProps(IMessage* msg, SPropTagArray* tags, long* pnFilled,
                                             unsigned long* sizes);

/* ---- Calendar normalisations ----------------------------------------------------------------- */

/* Tells whether an appointment covers whole days, however it is stored: with the all-day flag (only when
 * askAllDayFlag is non-zero), with a duration that is a multiple of 1440 minutes, or, without a duration,
 * from one day to another at the same second of the day. *allDayLike is 1 or 0; an item without any of these
 * properties is not all-day-like. Returns S_OK, or the platform's result of the look-up or read that failed,
 * logged, with *allDayLike 0. */
QUORVEL_API HRESULT Appointment_AllDayEventLike(IMessage* item, int* allDayLike, int askAllDayFlag);

/* The same; *allDayFlag (may be null) receives the all-day flag itself, asked for or not. */
QUORVEL_API HRESULT Appointment_AllDayEventLikeEx(IMessage* item, int* allDayLike, int askAllDayFlag,
                                                  int* allDayFlag);

/* Brings the subject of a birthday or an anniversary into one word order, in place: "Smith  John's birthday"
 * becomes "John Smith's birthday". The result is never longer than the subject. Returns 1 when the subject
 * has a name and ends in "'s birthday" or "'s anniversary" (in any letter case), else 0 with the subject
 * untouched. testOnly non-zero: nothing is written, and blanks count as a name. The 8-bit form takes text of
 * the system's code page. */
QUORVEL_API int Normalize_BirthdayOrAnnvrsrySubject(char* subject, int testOnly);
QUORVEL_API int Normalize_BirthdayOrAnnvrsrySubjectW(wchar_t* subject, int testOnly);

/* ---- Duplicate search ------------------------------------------------------------------------ */

/* A search is created with the properties to compare, is handed items one by one, groups them on demand and
 * is asked for the groups. Items may be added after a build, and the next build says what it changed. Results
 * stay as they are until the next build. A handle is used by one thread at a time; indexes count from 0. */

/* How items are compared (the algorithm of Search_Create). */
typedef enum ESearchAlgorithm {
    /* two items are equal when they agree in every compared property that both have, and in one */
    saSimilar = 0,
    /* as well, an empty value equals only an empty value; items without any value equal nobody */
    saIdentical = 1
} ESearchAlgorithm;

/* Pairs that are no duplicates although the compared properties agree (the rules of Search_Create2). A value
 * that is missing counts as empty; a rule asks of a new item and one that equals it. */
typedef enum ESearchException {
    cleApntSubject = 1,              /* subject empty on at least one side: the durations must be equal too */
    cleContCompanyContact = 2,       /* one is a company, the other a person */
    cleContFirstLastOnDiffSides = 3, /* one has only a first name, the other only a last name */
    cleContFirstLast = 4, /* half a name in common, or persons of whom one has no name: an e-mail, an address,
                            a personal phone or the birthday must be equal too. The compared properties must
                            include first name, last name, any e-mail and any phone. */
    cleTaskSubjectEmptyOnOneSide = 5,
    cleTaskStartAndDueOnDiffSides = 6, /* one has only a start date, the other only a due date */
    cleMailSubjectEmptyOnOneSide = 7,
    cleJrnlSubjectEmptyOnOneSide = 8,
    cleJrnlSubjectEmptyOnBothSides = 9 /* subject empty on both sides: the durations must be equal too */
} ESearchException;

/* What a build changed about the groups (Search_GetBuildChange). */
typedef enum ESearchChange {
    scNewGroup = 1, /* a new group; its duplicates follow as scJoined */
    scGoneGroup = 2,
    scJoined = 3, /* a duplicate joined the original's group */
    scLeft = 4    /* a duplicate left the original's group */
} ESearchChange;

/* Creates a search; null is never returned.
 *   session    opens the stores and items; the search holds a reference to it until it is deleted
 *   props      properties to compare, and (bCompare 0) to read for choosing originals. Copied. Entries whose
 *              nInterface is neither 0 nor 1 are left out. Named properties are resolved against the first
 *              item added; those that it does not know are left out. null: none, and every addition fails.
 *   original   how originals are chosen. Copied. null, and what cannot be used: okMostFilled.
 *   algorithm  ESearchAlgorithm; any other value finds nothing
 *   grouped    non-zero: the properties are compared group by group in order of nGroup. The first group in
 *              which the item has a value decides (saSimilar: for each other item, the first in which both
 *              have one). */
QUORVEL_API HSearch Search_Create(IMAPISession* session, const TComparyProps* props,
                                  const TOriginalDefinition* original, unsigned int algorithm, int grouped);
/* The same with exception rules: numbers of ESearchException, asked in this order. Copied. */
QUORVEL_API HSearch Search_Create2(IMAPISession* session, const TComparyProps* props,
                                   const TOriginalDefinition* original, unsigned int algorithm, int grouped,
                                   const unsigned int* exceptions, unsigned int exceptionCount);
/* Destroys a search with everything it handed out; null is ignored. */
QUORVEL_API void Search_Delete(HSearch handle);

/* Adds an item: opens it (its store once a search), reads it, compares it with the items added before.
 *   entryId, storeId  entry-identifier texts of the item and its store, copied as they are
 *   found             1 when an item added before equals it, else 0; untouched on failure; may be null
 *   callerRank        taken first in choosing originals, as a signed number: the lower is preferred
 * Items may come from several stores; two of them may have one identifier. A named property has a tag of its own
 * in each store: definitions are resolved by name in the store of the first item, and every item is read by the
 * tags of its own store. A definition given by its tag means that tag in every store. A property whose name a
 * store does not know is missing on its items. A definition whose name the first store does not know is left out
 * until an item of another store comes that does; on all items before, the property is missing (a series or a
 * whole day: missing counts as the search counts it on any item). A store that does
 * not answer what its names are is asked once more; then the item is refused (at the first item: the definition
 * is left out), and the next one asks again.
 * 1 when the item was added. 0 when it could not be opened or read, or when there is nothing to compare: the
 * search is then as it was before. The same item added twice counts as two items. */
QUORVEL_API int Search_Add(HSearch handle, const char* entryId, const char* storeId, unsigned int* found,
                           unsigned int callerRank);

/* Groups the items added so far. 1 on success; 0 when memory ran out or another exception came up, which is
 * logged: the results of the build before are then still there. */
QUORVEL_API int Search_Build(HSearch handle);

/* The number of groups of the last build. Every group has an original and at least one duplicate. */
QUORVEL_API int Search_GetOriginalCount(HSearch handle);
/* Identifiers of a group's original, as they were given to Search_Add. For each of the two texts: *size is
 * the size of the buffer in bytes on entry and the size that the text needs, terminator included, on return;
 * the text is copied when it fits, and only then is the buffer touched. Without such a group nothing is
 * touched. */
QUORVEL_API void Search_GetOriginal(HSearch handle, int group, char* entryId, unsigned int* entryIdSize,
                                    char* storeId, unsigned int* storeIdSize);
/* The number of duplicates in a group, the original not counted; 0 for no such group. */
QUORVEL_API int Search_GetDuplicateCount(HSearch handle, int group);
/* Identifiers of one duplicate of a group, as Search_GetOriginal gives the original's. The better original
 * comes first. */
QUORVEL_API void Search_GetDuplicate(HSearch handle, int group, int duplicate, char* entryId,
                                     unsigned int* entryIdSize, char* storeId, unsigned int* storeIdSize);

/* One change that the last build made, against the build before; the first build makes every group new. All
 * outputs are needed.
 *   kind                           ESearchChange
 *   originalId, originalStoreId    identifiers of the group's original
 *   duplicateId, duplicateStoreId  identifiers of the duplicate for scJoined and scLeft; else null
 *   position                       for scJoined the duplicate's index in its group; else -1
 * The texts belong to the search and live until the next build or Search_Delete; an empty text is null. 0,
 * and an error line, for no such change: ask for 0, 1, 2 ... until then. */
QUORVEL_API int Search_GetBuildChange(HSearch handle, int index, unsigned int* kind, const char** originalId,
                                      const char** originalStoreId, const char** duplicateId,
                                      const char** duplicateStoreId, int* position);

/* ---- Similar-contact search ------------------------------------------------------------------ */

/* How much does a contact resemble the one that the user looks at: the same person, written differently? A
 * search holds a cache of the contacts that it has read, by entry identifier; a contact is read again when
 * its last-modification time has changed. Order of calls: create, set the search-by contact, check others
 * against it, delete; the search-by contact may be set again at any time. Contacts handed in are read and
 * never changed.
 *
 * Verdicts: 0 no match, 1 similar (worth a look), 2 strict (the same person or company). */

/* Creates a search; never null. session is borrowed and outlives the search. storeEntryId is the
 * entry-identifier text of the store whose contacts are opened by entry identifier. countMode says whose
 * other filled fields (those that are not compared) count: 0 nobody's, 1 those of strict and similar
 * contacts, 2 those of strict ones only; the search-by contact's count with 1 and 2.
 * Contacts may come from other stores too, as their PR_MAPPING_SIGNATURE, else their PR_STORE_ENTRYID, tells (one
 * that has neither counts as one of this store), and are read by the tags that the fields' names have there. The
 * search knows a contact by its entry identifier alone: do not give it two contacts with one identifier. */
QUORVEL_API HSimilarSearch SimilarSearch_Create(IMAPISession* session, const char* storeEntryId,
                                                unsigned int countMode);
/* Ends a search and frees all that it holds, the texts of the last check included. Null is ignored. */
QUORVEL_API void SimilarSearch_Delete(HSimilarSearch search);

/* Chooses the contact that all others are checked against. *filledCount receives the number of its filled
 * fields. Result: 1; 0 when the contact cannot be read, and there is then no search-by contact. */
QUORVEL_API unsigned int SimilarSearch_SetSearchByItem(HSimilarSearch search, IMessage* contact,
                                                       unsigned int* filledCount);
/* Reads a contact into the cache, unless this version of it is there. Result: 1; 0 when it cannot be read. */
QUORVEL_API unsigned int SimilarSearch_AddToCache(HSimilarSearch search, IMessage* contact);

/* Checks a contact against the search-by contact.
 *   verdict        receives 0, 1 or 2
 *   filledCount    receives the number of the contact's filled fields: compared ones, others as countMode
 *                  says, and the text of the contact when others count
 *   verdictText    receives one line that says which fields decided, and how their values match; may be null
 *   matchedFields  receives the names of those fields, joined by ", "; may be null
 * The texts belong to the search and live until its next check; both are empty without a match. The 8-bit
 * form gives them in the ANSI code page.
 * Result: 1 when a verdict was made; 0 without a search-by contact or when the contact cannot be read
 * (verdict and count are then 0, the texts empty). */
QUORVEL_API unsigned int SimilarSearch_CheckItem(HSimilarSearch search, IMessage* contact,
                                                 unsigned int* verdict, unsigned int* filledCount,
                                                 const char** verdictText, const char** matchedFields);
QUORVEL_API unsigned int SimilarSearch_CheckItemW(HSimilarSearch search, IMessage* contact,
                                                  unsigned int* verdict, unsigned int* filledCount,
                                                  const wchar_t** verdictText, const wchar_t** matchedFields);
/* The same for a contact by its entry-identifier text. A contact that is in the cache is taken as it stands
 * there: neither its store nor its modification time is looked at (except when its other fields are still to
 * be counted). Any other contact is opened, read into the cache and closed again.
 * A host that checks many contacts caches them all first: a cached contact that shares no value with the search-by
 * contact gets its verdict then without being compared. With the extra log on, each is compared and written. */
QUORVEL_API unsigned int SimilarSearch_CheckItemFast(HSimilarSearch search, const char* entryId,
                                                     unsigned int* verdict, unsigned int* filledCount,
                                                     const char** verdictText, const char** matchedFields);
QUORVEL_API unsigned int SimilarSearch_CheckItemFastW(HSimilarSearch search, const char* entryId,
                                                      unsigned int* verdict, unsigned int* filledCount,
                                                      const wchar_t** verdictText,
                                                      const wchar_t** matchedFields);

/* Forgets a contact. Result: 1, also when it was not in the cache; 0 when it is the search-by contact and
 * force is 0. With force there is no search-by contact afterwards. */
QUORVEL_API unsigned int SimilarSearch_RemoveFromCache(HSimilarSearch search, const char* entryId, int force);
/* Writes the search-by contact and its number (counted from 1 over all that were set) to the log, while extra logging
 * is on. */
QUORVEL_API void SimilarSearch_LogSearchByPos(HSimilarSearch search);

/* ---- Comparison matrix ----------------------------------------------------------------------- */

/* Shows which properties agree among a handful of items: one row an item, in order of addition, one column a
 * property definition, in the order of the list. Rows only grow. Every added item is compared with every
 * earlier one, so this is for a few items at a time. Delete the matrix before its session ends. */

/* Makes an empty matrix. props is copied; definitions with nInterface above 1 are left out, with an Error
 * line, and take no column. bCompare, nCompareMethod and nGroup mean nothing here: values are compared
 * exactly, texts without regard to case. session stays the caller's and has to outlive the matrix.
 * Returns a handle, to be given to CmpMatrix_Delete; null without a session or without definitions. */
QUORVEL_API HCmpMatrix CmpMatrix_Create(IMAPISession* session, const TComparyProps* props);
/* The same with an option word. Bit 0 set: attachments are compared by method, name and size only, without
 * reading what they hold. The other bits mean nothing. */
QUORVEL_API HCmpMatrix CmpMatrix_CreateEx(IMAPISession* session, const TComparyProps* props,
                                          unsigned int option);
/* Frees the handle and everything that it handed out; null is ignored. */
QUORVEL_API void CmpMatrix_Delete(HCmpMatrix handle);
/* Opens an item by the entry-identifier texts of item and store and adds it as the next row. The first row
 * decides which named properties take part: a definition that the item's store does not know, and any of a
 * derived property, keeps its column, empty in all rows. Items of other stores are read by the tags that the
 * names have there. A property that is read through a stream is empty
 * when Quorvel_StreamPropEmpty says so: one that is no text, whenever it holds something.
 * Returns 1; 0 when the item cannot be opened or read: a Warning line, and the matrix is as it was. */
QUORVEL_API int CmpMatrix_Add(HCmpMatrix handle, const char* entryId, const char* storeId);
/* The number of rows and of columns; either output may be null. Returns the number of columns. */
QUORVEL_API unsigned int CmpMatrix_Size(HCmpMatrix handle, unsigned int* rows, unsigned int* columns);
/* A cell, row and column counted from 0. 0: the property is empty on the item. Otherwise 1 + the row of the
 * first item with an equal value, which is the item's own row when no earlier one has it: items with equal
 * values have equal numbers. 0 and an Error line outside the matrix. */
QUORVEL_API unsigned int CmpMatrix_Value(HCmpMatrix handle, int row, int column);
/* The size of a cell's value: characters of a text, bytes of a binary, elements of a multi-valued property,
 * 1 for any other; bytes for a property that is read through a stream; 0 when it is empty. 0 and an Error
 * line outside the matrix. */
QUORVEL_API unsigned int CmpMatrix_ValueSize(HCmpMatrix handle, int row, int column);

/* Arranges the attachments of all rows into columns, contact photos apart from the others. Two attachments
 * share a column when method, file name (without regard to case; not for photos), size and contents are
 * equal: by value the data, embedded items subject and body, references (which have no size) the path. Within a
 * row each attachment has a column of its own. Columns stand in order of first appearance. An attachment of
 * which any of that cannot be read, whether on adding or now, equals nothing, with an Error line; so does one of
 * any other method. What counts is the item's attachment table, whatever PR_HASATTACH says; a row whose table
 * could not be read has no attachments. The arrangement stays until it is built again or a row is added: then
 * there are no columns until the next call.
 * Returns 1; 0 for a null handle. */
QUORVEL_API int CmpMatrix_BuildAttachMatrix(HCmpMatrix handle);
/* The number of columns, photos not counted. */
QUORVEL_API int CmpMatrix_AttachCount(HCmpMatrix handle);
/* How many of them are filled in every row. */
QUORVEL_API int CmpMatrix_AttachEqualCount(HCmpMatrix handle);
/* File name (display name when there is none) and size in bytes of a column's first attachment; either output
 * may be null. An embedded item's size is that of the message; a reference's is 0. The name is in the ANSI
 * code page, or wide; it lives until the next CmpMatrix_Add that adds a row, build or delete.
 * Returns 1; 0 and an Error line outside, outputs untouched. */
QUORVEL_API int CmpMatrix_AttachInfo(HCmpMatrix handle, int column, const char** name, unsigned int* size);
QUORVEL_API int CmpMatrix_AttachInfoW(HCmpMatrix handle, int column, const wchar_t** name,
                                      unsigned int* size);
/* The number, in that row's item, of the attachment that fills the column; -1 where the row has none, and,
 * with an Error line, outside; -2 for an attachment whose number the table does not tell. */
QUORVEL_API int CmpMatrix_AttachValue(HCmpMatrix handle, int row, int column);
/* The same for contact photos: attachments by value that are marked so. */
QUORVEL_API int CmpMatrix_PhotoAttachCount(HCmpMatrix handle);
QUORVEL_API int CmpMatrix_PhotoAttachEqualCount(HCmpMatrix handle);
QUORVEL_API int CmpMatrix_PhotoAttachInfo(HCmpMatrix handle, int column, const char** name,
                                          unsigned int* size);
QUORVEL_API int CmpMatrix_PhotoAttachInfoW(HCmpMatrix handle, int column, const wchar_t** name,
                                           unsigned int* size);
QUORVEL_API int CmpMatrix_PhotoAttachValue(HCmpMatrix handle, int row, int column);

/* ---- Cabinet writer -------------------------------------------------------------------------- */

/* Packs files into a cabinet (.cab) with MSZIP compression, through the system's own cabinet library.
 *
 * All texts are in the ANSI code page. One handle is one cabinet: create, add files, flush, delete. A file that
 * is refused leaves the cabinet as it was, and it goes on. When the system's library fails (the disk is full, a
 * source cannot be read to its end), everything after it fails too, and the handle is good for FCI_Delete. */

/* Starts the cabinet directory + name: the two are put together as given, so directory ends in a backslash
 * (or is empty: the current directory). Each counts up to 255 bytes, the rest is ignored. The cabinet itself
 * is written by FCI_FlushCabinet; a directory that does not exist is noticed there.
 * Returns a handle, to be given to FCI_Delete; null when the system has no cabinet library or it refuses
 * (no room for temporary files, a null text): the Error line "GetLastError = 0x%x" then says why. */
QUORVEL_API HFci FCI_Create(const char* directory, const char* name);
/* Adds the file source under storedName, which may hold backslashes for subfolders (255 bytes at most). Kept
 * with it are the last write, as local time in steps of two seconds, years 1980 to 2107, and the read-only,
 * hidden, system and archive attributes.
 * Returns non-zero on success, 0 on failure. Refused are a source that is missing or not readable, or of more
 * than 2,147,450,880 bytes (with what is compressed into the same folder of the cabinet), a name of no or more
 * than 255 bytes, the file behind the 65,535th, any file once the cabinet was flushed, a null argument. Nothing
 * is logged. */
QUORVEL_API int FCI_AddFile(HFci handle, const char* source, const char* storedName);
/* Completes the cabinet and writes it; one that is complete stays as it is, and that is success. Returns non-zero
 * on success; 0 on failure (the directory is missing,
 * cannot be written or is full, the system's library failed before, no file was added, null handle): whatever is on
 * the disk then is no whole cabinet. */
QUORVEL_API int FCI_FlushCabinet(HFci handle);
/* Ends the work and frees the handle and all temporary files; null is ignored. Does not flush: a cabinet that
 * was not flushed is incomplete. */
QUORVEL_API void FCI_Delete(HFci handle);

#ifdef __cplusplus
}
#endif
#endif
