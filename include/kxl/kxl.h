/**
 * @file
 * kxl.h - how a desktop application works together with the Kelda Updater.
 *
 * Conventions
 *
 *  1. Ownership. Every pointer belongs to the caller, before, during and after the call. The
 *     library reads strings and arrays only while the call runs, keeps none of them and hands
 *     out no memory: there is nothing to free.
 *  2. Null. Every pointer may be null. A null where a value is needed is answered with
 *     ESD_ERR_INVALIDDATA (or the code that an earlier check gives), never with a crash.
 *  3. Encoding. Strings end with a zero byte. Texts and paths are UTF-8 without conversion;
 *     application identifiers hold bytes 1 to 127 only and are compared byte for byte.
 *  4. Threads. Every function may be called from any thread, at any time, and runs wholly on
 *     the caller's thread. The library starts no thread, installs no signal handler, raises no
 *     signal and changes neither locale, umask nor working directory. A thread that is
 *     cancelled inside a call ends after it.
 *  5. Environment. The functions that start the updater hand it its task in environment
 *     variables (KX_LAUNCH_MODE and others), which they set in the calling process. Some of them
 *     stay set. Other threads may read the environment meanwhile, but must not change it. KXL_ROOT,
 *     HOME and the XDG_* variables are read once a process.
 *  6. Waiting. Shared files are guarded by machine-wide locks that other processes hold for
 *     milliseconds. A call waits for one only as long as its own text below says; when that was in
 *     vain it fails with a documented code or goes on without. The first call of a process (other
 *     than KXLSuppressUpdates) also reads the updater's preferences to set up the trace, and may
 *     wait for their lock, 3 seconds at most. Apart from that a call does a few file operations.
 *     Nothing waits for the network.
 *  7. Results. Functions that answer a result code answer one of enum KXLResult, as int32_t. No
 *     C++ exception leaves the library. Shared files are replaced as a whole, except for the
 *     updater's preferences. A call that failed has not done what it was asked for, unless its
 *     text says otherwise; only when the disk has refused the very last step, the exchange of two
 *     names, may the change still appear at a later call.
 *  8. Trace. Calls, arguments and results (but not those of KXLSuppressUpdates) are written to
 *     "kxlLib.log" in the user's data folder ($XDG_DATA_HOME/Kelda/Updater6, else
 *     ~/.local/share/Kelda/Updater6), unless the updater's preferences name another file or
 *     switch it off. Nothing is ever printed.
 *  9. ABI. libkxl.so.6 keeps these nine functions, their parameters and the meaning of every
 *     code. New codes may be added: treat a code that you do not know as a failure.
 *
 * Valid C99 and C++17.
 */
#ifndef KXL_KXL_H
#define KXL_KXL_H

#include <stdbool.h>
#include <stdint.h>

/** Marks what the library exports. */
#if defined(__GNUC__)
#define KXL_API __attribute__((visibility("default")))
#else
#define KXL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Result codes. The trace shows a code as number and name, "3(ESD_ERR_INVALIDDATA)"; the last
 * four stand there without a name. */
enum KXLResult {
  ESD_ERR_OK = 0,                 /**< done */
  ESD_ERR_FAILURE = 1,            /**< failed; also whatever went wrong inside the library */
  ESD_ERR_KX = 2,                 /**< the updater is not installed or could not be started */
  ESD_ERR_INVALIDDATA = 3,        /**< an argument is missing, too long or malformed */
  ESD_ERR_REGISTRATIONFAILED = 4, /**< the list of applications could not be written (rights, a
                                     held lock, a full disk), the user may not write it, or the
                                     data holds what the list's XML cannot carry */
  ESD_ERR_ALREADYREGISTERED = 5,  /**< registered already with this very name and folder */
  ESD_ERR_NOTREGISTERED = 6,      /**< the application is not registered */
  ESD_ERR_NOTENABLED = 7,         /**< the administrator has switched updates off, or the user is
                                     no administrator */
  ESD_ERR_NOTIFY_PENDING = 8,     /**< the updater is still looking; ask again later */
  KXL_ALL_LISTED = 9,             /**< every component was on the list already */
  KXL_UPDATER_RUNNING = 12,       /**< the updater is running already */
  KXL_CHECK_SUPPRESSED = 13,      /**< a hold suppresses scheduled checks */
  KXL_SUPPRESS_FILE_BUSY = 14     /**< the file of holds stayed locked for 3 seconds */
};

/** Why an update check is wanted. Any other value is a scheduled check that no hold suppresses. */
typedef int32_t KXLTriggerType;
enum {
  KXL_TRIGGER_MANUAL = 0,   /**< the user asks */
  KXL_TRIGGER_SCHEDULED = 1 /**< it is time to look again */
};

/** One component that an application lacks. */
typedef struct KXLMissingComponent {
  const char* name;     /**< "*" stands for any name */
  const char* category; /**< compared byte for byte */
  const char* version;  /**< up to four numbers, separated by a space, ',', '.' or '-' */
} KXLMissingComponent;

/** Everything that one application lacks. */
typedef struct KXLMissingComponentList {
  uint32_t count;                               /**< entries in components */
  const KXLMissingComponent* const* components; /**< pointers to them */
} KXLMissingComponentList;

/**
 * Adds the application to the machine's list of applications that the updater looks after, or
 * replaces its entry when the name or the folder has changed. Call it after installing and
 * whenever the application finds that it was moved.
 *
 * @param appIdentifier   1 to 256 bytes, each 1 to 127, for example "com.example.editor"
 * @param appDisplayName  1 to 512 bytes of UTF-8, the name that the updater shows
 * @param appFolderPath   1 to 255 bytes of UTF-8, the folder where the application is installed
 *
 * Only members of the machine's administrator group may register. An identifier with a double
 * quote, '&', '<', a tab or a line end, and texts with other control characters, cannot be written
 * to the list (ESD_ERR_REGISTRATIONFAILED).
 *
 * Answers ESD_ERR_OK (the entry is in the list), ESD_ERR_ALREADYREGISTERED (nothing was written),
 * ESD_ERR_INVALIDDATA, ESD_ERR_REGISTRATIONFAILED, or ESD_ERR_FAILURE when the folder of the list
 * can be neither found nor made. A failed call leaves the list as it was, with one exception: a
 * list that can be read but is damaged is set aside as KeldaESDGlobalApps.xml.damaged, and a new
 * one is begun.
 *
 * Waits for the list's lock, 2 seconds at most, and once more as long when the first wait was in
 * vain.
 */
KXL_API int32_t KXLRegisterApplication(const char* appIdentifier, const char* appDisplayName,
                                       const char* appFolderPath);

/**
 * Takes the application off the list, with its per-application settings of this user. When it was
 * the last one and the updater does not run, the updater is started to tidy up
 * (KX_LAUNCH_MODE=5, which stays set in the caller's environment).
 *
 * Answers ESD_ERR_OK (whatever became of the updater's start), ESD_ERR_INVALIDDATA,
 * ESD_ERR_NOTREGISTERED, ESD_ERR_REGISTRATIONFAILED (also when there is no list at all, when the
 * user is no administrator and for the updater's own identifier "KeldaUpdater"), or
 * ESD_ERR_FAILURE as above. With the last application the list goes, so unregistering that one
 * once more answers ESD_ERR_REGISTRATIONFAILED, and ESD_ERR_NOTREGISTERED while others are listed.
 *
 * Waits for the list's lock, twice 2 seconds at most.
 */
KXL_API int32_t KXLUnRegisterApplication(const char* appIdentifier);

/**
 * Answers 1 when this user may check for updates: the administrator has not switched updates off
 * and the user is an administrator. Answers 0 otherwise; a switch that cannot be read counts as not
 * set. An application hides its "check for updates" command at 0. The answer is 1 without an updater
 * too: the check then answers ESD_ERR_KX. Waits for no lock, other than the first call of a process.
 */
KXL_API int32_t KXLIsUpdateCheckEnabled(void);

/**
 * Starts the updater for a check: at once for a manual one, and for a scheduled one when automatic
 * checks are on, the chosen interval has passed and no hold is running.
 *
 * @param appIdentifier, appDisplayName, appFolderPath  as in KXLRegisterApplication; a null
 *                        identifier checks for all applications, the other two are not looked at
 *                        then
 * @param appDisplayLang  "en_US" or "en-us", its first five characters; a text that is shorter
 *                        counts as none, and of one that has no letter where one belongs, what
 *                        stands before that place counts
 * @param triggerType     a manual or a scheduled check
 * @param bOverrideData   true: registers name and folder first when they have changed
 *
 * Answers ESD_ERR_OK (also when a scheduled check is not due), ESD_ERR_KX, ESD_ERR_INVALIDDATA,
 * ESD_ERR_NOTREGISTERED (registering first has failed), ESD_ERR_NOTENABLED, KXL_CHECK_SUPPRESSED
 * or ESD_ERR_FAILURE. The kind of launch is recorded in the preferences before the updater is
 * started, so it is also when that fails (ESD_ERR_KX).
 *
 * Waits for the holds' lock and for the preferences' lock, 3 seconds each at most, and goes on
 * without what it could not read; with bOverrideData also for the list of applications, 2 seconds
 * to look and as KXLRegisterApplication to register. KX_LAUNCH_MODE, KX_DISPLAY_LANG and
 * KX_LAUNCH_APPID stay set in the caller's environment: a later check without a language or an
 * identifier hands the earlier ones on unless they are unset before. An updater that is installed
 * but cannot be executed is left to a shell in the background, and counts as started, here and
 * wherever else the updater is started.
 */
KXL_API int32_t KXLTriggerUpdateCheck(const char* appIdentifier, const char* appDisplayName,
                                      const char* appFolderPath, const char* appDisplayLang,
                                      KXLTriggerType triggerType, bool bOverrideData);

/**
 * Asks whether an update waits for the application. The first call starts the updater and answers
 * ESD_ERR_NOTIFY_PENDING; call again with the same requestNumber, seconds later, until the answer
 * is another one. ESD_ERR_OK means that the updater has answered: *result then holds its number (0
 * when it gave none), and the answer is used up. An answer that is damaged, or may not be opened,
 * ends the request the same way and leaves *result alone; one that cannot be removed is answered
 * again.
 *
 * @param appIdentifier, appDisplayName, appFolderPath  as in KXLRegisterApplication
 * @param requestNumber  the caller's own number for this request
 * @param result         receives the answer: 0 when no update waits, another number when one does.
 *                       Set it to a number that is no answer (-1) before the call, or an answer that
 *                       is damaged reads as what was there, "no" for instance. May be null
 * @param bOverrideData  as in KXLTriggerUpdateCheck
 *
 * Other answers: ESD_ERR_KX (not installed), ESD_ERR_INVALIDDATA, ESD_ERR_NOTREGISTERED,
 * ESD_ERR_NOTENABLED (by the administrator; any user may ask), and ESD_ERR_FAILURE when the request
 * cannot be marked in the user's runtime folder, when an answer cannot be read for the moment
 * (descriptors or memory are short, the disk fails; it is left for a later call), and for an
 * identifier that cannot stand in a file name: ".", "..", with a '/', or longer than 250 bytes.
 * *result is written with ESD_ERR_OK only.
 *
 * One request of an application at a time: a call with another requestNumber drops an answer that
 * was not fetched. Of several callers at once one gets the answer, and the others
 * ESD_ERR_NOTIFY_PENDING. An updater that ends without an answer is started again by the next call;
 * one that was killed keeps the request pending until its lock is removed (lock files and locks are
 * told in docs/architecture.md).
 *
 * Waits with bOverrideData only, as KXLTriggerUpdateCheck does for the list of applications.
 * notifyAppID and notifyFile are set in the caller's environment while the updater is started.
 */
KXL_API int32_t KXLIsUpdateAvailable(const char* appIdentifier, const char* appDisplayName,
                                     const char* appFolderPath, uint32_t requestNumber,
                                     int32_t* result, bool bOverrideData);

/**
 * Puts components that the application lacks on the user's list of components to fetch, then tells
 * the running updater or starts it.
 *
 * @param appIdentifier, appDisplayName, appFolderPath, appDisplayLang  as in
 *                       KXLTriggerUpdateCheck; the identifier is required, the folder may be longer
 * @param components     required; a count above 0 needs an array
 * @param operationType  recorded for the updater as it is
 * @param bOverrideData  as in KXLTriggerUpdateCheck
 *
 * A component is listed already when its category and version are, under the same name or with "*"
 * for either name. Identifiers, names and categories with a double quote, '&', '<', a tab or a line
 * end cannot be written to the list.
 *
 * Answers ESD_ERR_OK and KXL_ALL_LISTED (both also when the updater could not be started),
 * ESD_ERR_FAILURE (a null text, a version that is none, a list that cannot be locked or written;
 * components before the one that failed stay listed), ESD_ERR_KX (they are listed, but the updater
 * is not installed), ESD_ERR_INVALIDDATA, ESD_ERR_NOTREGISTERED or ESD_ERR_NOTENABLED.
 *
 * Waits for the list's lock, 2 seconds at most for each component until one fails and once more at
 * the end, half a second for a session bus that does not answer, and with bOverrideData as
 * KXLTriggerUpdateCheck. KX_LAUNCH_MODE and KX_DISPLAY_LANG stay set in the caller's environment
 * when the updater was started.
 */
KXL_API int32_t KXLDownloadMissingComponents(const char* appIdentifier, const char* appDisplayName,
                                             const char* appFolderPath, const char* appDisplayLang,
                                             const KXLMissingComponentList* components,
                                             int32_t operationType, bool bOverrideData);

/**
 * Starts the updater in the background to carry out its plug-in action for a registered
 * application.
 *
 * Answers ESD_ERR_OK (also when the disk failed while the preferences were read, and nothing was
 * started), ESD_ERR_KX, ESD_ERR_INVALIDDATA, ESD_ERR_NOTREGISTERED, ESD_ERR_NOTENABLED,
 * KXL_UPDATER_RUNNING or ESD_ERR_FAILURE. Preferences that cannot be opened count as none. Waits
 * for the preferences' lock, 3 seconds at most, and for the list's, 2.
 * doActionAppID is set in the caller's environment while the updater is started.
 */
KXL_API int32_t KXLDoPluginAction(const char* appIdentifier);

/**
 * Holds update notices back for a while, or asks about holds.
 *
 * query == 0: sets the application's hold to *seconds from now (more than 43200, twelve hours, is
 *   lowered to that, in *seconds too); a null or zero seconds clears it. bufferSize is not used. A
 *   running updater is told of a new hold.
 * query != 0, appIdentifier not empty: *seconds receives what is left of its hold, 0 for none.
 * query != 0, appIdentifier null or empty: asks for the longest hold. *seconds receives what is
 *   left of it, 0 without a hold; *bufferSize, the size of the buffer appIdentifier in bytes,
 *   receives the size that its owner's identifier needs with its zero byte. The identifier is
 *   copied when it fits, and the rest of the buffer filled with zeros; otherwise the buffer is left
 *   alone. Without a hold *bufferSize receives 0, and a buffer of at least 1 byte an empty text.
 *
 * Every call drops the holds that have ended. Answers ESD_ERR_OK, ESD_ERR_FAILURE (the folder of
 * the holds can be neither found nor made, their file cannot be read or written, or it has a line
 * whose time cannot be read; the file is left as it was), ESD_ERR_INVALIDDATA (no or no valid
 * identifier to set, one with a tab or a line end, nothing asked for, or a hold asked for without
 * seconds) or KXL_SUPPRESS_FILE_BUSY. A question about holds that could be read, but not written
 * without the ended ones, fills in its answers beside ESD_ERR_FAILURE. Waits for the file's lock, 3
 * seconds at most, and half a second for a session bus that does not answer.
 */
KXL_API int32_t KXLSuppressUpdates(char* appIdentifier, uint32_t* bufferSize, uint32_t* seconds,
                                   int32_t query);

/**
 * The library's version: major in bits 28 to 31, minor in 24 to 27, third number in 20 to 23, the
 * rest zero. Version 6.2.0 is 0x62000000.
 */
KXL_API uint32_t KXLGetVersion(void);

#ifdef __cplusplus
}
#endif

#endif /* KXL_KXL_H */
