/// \file
/// A path as a value.
#ifndef ORMO_T_PATH_H
#define ORMO_T_PATH_H

#include <dirent.h>

#include <map>
#include <string>
#include <vector>

#include "ormo/export.h"

namespace Ormo {

/// A path with path arithmetic, access checks and directory listings. Nothing normalises a path on
/// its own; only the operations that say so touch the file system, and those may block for it.
///
/// Different objects may be used by different threads. Failures are told by the result and a log
/// line; nothing throws but for lack of memory.
class ORMO_EXPORT TPath {
 public:
  TPath() = default;
  explicit TPath(std::string path);
  /// A null pointer makes an empty path, in an assignment too.
  explicit TPath(const char* path);

  TPath& operator=(const std::string& path);
  TPath& operator=(const char* path);

  const std::string& GetString() const;
  /// Valid until the path changes.
  const char* GetCString() const;
  bool Empty() const;
  bool Equals(const TPath& other) const;

  /// Adds `part` below this path with one "/" between them: "a/" and "/b" make "a/b", "a" and ""
  /// make "a/". A null pointer adds nothing.
  TPath& Append(const std::string& part);
  TPath& Append(const TPath& part);
  TPath& Append(const char* part);
  TPath operator+(const TPath& part) const;
  TPath operator+(const std::string& part) const;
  TPath operator+(const char* part) const;

  /// Makes this path its parent: "/a/b/" becomes "/a", "/a" and "a" become empty.
  TPath& GetParentDirectory();
  /// What follows the last "/".
  std::string GetFileName() const;
  /// What follows the last "." of the file name; empty without one.
  std::string GetSuffix() const;
  /// The file name without its last "." and what follows.
  std::string GetPureName() const;

  /// Replaces the suffix, "." included: "/x/y.tar.gz" and ".txt" or "txt" make "/x/y.tar.txt". A
  /// path without a file name stays as it is.
  TPath& ChangeSuffix(const std::string& suffix);
  TPath& ChangeSuffix(const char* suffix);
  TPath& DelSuffix();
  /// Appends `suffix` as it is, unless it is empty, equals GetSuffix, or the path is empty.
  TPath& AddSuffix(const std::string& suffix);
  /// AddSuffix; then, if no readable and writable file of that name exists, takes the first file
  /// beside it, in order of names, that starts with the same pure name and ends with `suffix`. A
  /// path without a pure name, "dir/" or "dir/.txt", is no start of a name: nothing is taken for
  /// it. An empty path stays empty.
  TPath& IntellAddSuffix(const std::string& suffix);

  /// Whether `other` stands below this path, by the letters of both.
  bool IsSubPath(const TPath& other) const;

  /// Whether the file exists, is also readable and writable (`readWrite`), is readable, is
  /// writable.
  bool IsExist(bool readWrite) const;
  bool IsReadable() const;
  bool IsWriteable() const;
  bool IsDir() const;
  /// Whether this is a directory that can be read, written and searched.
  bool IsAccessDir() const;
  /// Whether every file is below this path, readable and writable.
  bool IsListFileExist(const std::vector<TPath>& files) const;

  /// Resolve links and relative parts in place; the path is left alone on failure. RealDirectory
  /// also demands IsAccessDir.
  bool RealPath();
  bool RealDirectory();
  /// Creates the directory where it is missing, resolves the path and ends it with "/".
  bool NormalizeDir();
  /// Resolves the path and removes the directory, which must be empty.
  bool RemoveDir();

  /// Order of listings: by name. A null entry comes last, with an error line.
  static int AlphaSort(const dirent** a, const dirent** b);
  /// False for null, "." and "..".
  static bool IsValidDirent(const dirent* entry);

  /// Appends the paths of the directory's entries, sorted, to `out`. `filter` says with 0 what to
  /// leave out; it may be null. -1 when the directory cannot be read, else 0.
  int GetDirFileList(std::vector<TPath>& out, int (*filter)(const dirent*)) const;
  /// Stores the paths of the entries that start with `prefix` and end with `suffix`, sorted, under
  /// 0, 1, 2 and so on; entries of `out` that stand elsewhere stay. -1 when the directory cannot be
  /// read, else 0.
  int GetDirFileListWithPrefixAndSuffix(const std::string& prefix, const std::string& suffix,
                                        std::map<long, std::string>& out) const;
  int GetDirFileListWithPrefix(std::map<long, std::string>& out, const std::string& prefix) const;
  /// The pure name of the first such entry; empty when there is none.
  std::string FuzzyLookupFileName(const std::string& prefix, const std::string& suffix) const;

 private:
  bool IsModeAccessAble(int mode) const;

  std::string path_;
};

}  // namespace Ormo

#endif  // ORMO_T_PATH_H
