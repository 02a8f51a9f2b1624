// Copying, moving and exchanging file-system objects.
#ifndef KXL_PLATFORM_FILE_COPY_H
#define KXL_PLATFORM_FILE_COPY_H

#include <string>

namespace kxl {

// Copies a regular file's data, mode, owner (where the caller may), times and extended attributes
// to a name that must be free. The data is on disk before it answers true; a partly written
// destination is deleted before it answers false.
bool CopyFile(const std::string& source, const std::string& destination);

// For whoever moves a list to another folder; no request does.
// Moves a file to a free name in an existing folder. Across file systems it copies, and the source
// stays for the caller to remove. False when the folder is missing or the name is taken.
bool MoveFileTo(const std::string& source, const std::string& destination);

// Gives a file or folder another name, which must be free, on the same file system. False, with
// errno, otherwise. Where the file system cannot tell in one step whether the name is free,
// somebody else may take it in between, and is replaced.
bool RenameToFreeName(const std::string& from, const std::string& to);

// Moves a file or folder into a folder under its own name, which must be free there, and tells the
// path it has now. Across file systems it copies the tree and deletes the source after that; a
// failed copy leaves the source in place. 0 or an errno.
int MoveObject(const std::string& source, const std::string& destinationFolder,
               std::string& result);

// Exchanges what two names of one folder stand for. Atomic where the file system can exchange
// names (RENAME_EXCHANGE); others see the one state or the other, never a mixture. When one of the
// two is missing, the other takes its name. True when the exchange is done; after a failure both
// are as they were.
bool FileExchange(const std::string& first, const std::string& second);

// The exchange for file systems that cannot exchange names; both must exist. Files are copied
// through a temporary name (first + "." + a free number from 0 to 31), folders renamed through one
// ("TempSwap." + such a number beside them). Not atomic: a process that ends between two steps
// leaves either content complete under one of the three names.
bool ExchangeBySteps(const std::string& first, const std::string& second);

}  // namespace kxl

#endif  // KXL_PLATFORM_FILE_COPY_H
