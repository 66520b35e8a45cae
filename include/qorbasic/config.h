// Key/value configuration files: read them into a map, and write a map back
// so that everything people wrote around the settings stays where it was.
//
//   ConfigUtils::ConfigMap settings;
//   if (ConfigUtils::getConfig("/etc/app/hip.conf", settings, '=')) {
//       settings["port"] = "8080";
//       ConfigUtils::writeConfig("/etc/app/hip.conf", settings, '=');
//   }
//   int port = ConfigUtils::getConfigValue("/etc/app/hip.conf", "port", 80);
//
// The format, one entry a line, with a separator character of the caller's
// choice (the operations without a separator argument use '='):
//
//   # a comment line, carried along untouched
//   name = "two words"    # trailing comment, kept behind the value
//   empty=
//
// A line is a setting when it holds the separator and no '#' stands before
// the first separator. Key and value are trimmed; one pair of matching outer
// quotes ('...' or "...") is removed from the value. There are no escapes,
// no sections and no continuation lines.
//
// Surprising cases:
// - Quotes do not protect '#': a="x#y" has the value "x and the comment #y".
//   A '#' directly behind the separator belongs to the value: a=#x is "#x".
// - writeConfig makes the file's settings equal the map: a key of the file
//   that the map lacks loses every line it had, and keys new to the file go
//   to its end, sorted, unquoted. Lines of settings take the normal form
//   key=value # comment, but only when some setting changed: a file whose
//   settings already equal the map is not opened for writing at all.
// - Values are written as they are, so a value with outer blanks, a '#' or
//   outer quotes does not read back the same.
// - What could plant another setting is refused: writeConfig and
//   setConfigValue return false, with the file untouched, for a new key
//   holding '=', '#', the separator, CR, LF or NUL, or a new or changed value
//   holding CR, LF or NUL. Keys and values the file already holds go back
//   as they were.
// - A FIFO or device at the path fails every operation at once, like a file
//   that cannot be opened.
// - Every path operation holds the lock file of the path (FileUtils::ScopedFileLock) for
//   one read or one write, readers included. setConfigValue reads under one
//   lock and writes under another, so of two concurrent read-modify-write
//   cycles the later write decides. Never call these while holding a
//   lock of the same file name: the inner lock waits for ever.
#ifndef QORBASIC_CONFIG_H
#define QORBASIC_CONFIG_H

#include <iosfwd>
#include <map>
#include <string>

#include "qorbasic/export.h"
#include "qorbasic/text.h"

namespace ConfigUtils {

// The settings of one file, ordered by key; keys compare exactly.
typedef std::map<std::string, std::string> ConfigMap;

// Parses one line. True for a setting, with key, value and comment (empty,
// or " #..." from the first '#' to the end of the line) set. The left-hand
// whitespace of `line` is cut in place in every case; on false the three
// outputs keep what they held.
QOR_API bool parseConfigKeyValue(std::string& line, std::string& key, std::string& value,
                                 std::string& comment, char separator);

// key, separator and value joined, without blanks, quotes or line end.
QOR_API std::string& renderConfigLine(std::string& out, const QRSTR& key, const QRSTR& value,
                                      char separator);

// Adds the settings of the file to `config` (which is not cleared first); the
// last line of a key wins. False if the lock cannot be taken, the file cannot
// be opened, or reading fails before the end of the file (a directory, say).
QOR_API bool getConfig(const std::string& path, ConfigMap& config, char separator);
// The same on an open stream, without a lock.
QOR_API bool getConfig(std::istream& in, ConfigMap& config, char separator);

// Makes the file's settings equal `config`, keeping comments, blank lines and
// other text in place. A missing file counts as empty; it is created only if
// there is something to write. True when nothing had to change or the file
// could be opened for writing; a short write is not detected. A separator
// of CR, LF or NUL is refused (false, file untouched).
QOR_API bool writeConfig(const std::string& path, const ConfigMap& config, char separator);

// Sets one key with '=' as separator. Writes nothing when the value is
// already there (an empty value counts as there when the key is missing).
QOR_API bool setConfigValue(const std::string& path, const std::string& key,
                            const std::string& value);

// Drops every line of the key. False for a missing file; true, with the file
// untouched, when the key is not in it.
QOR_API bool removeConfigValue(const std::string& path, const std::string& key, char separator);

// The value of a key ('=' as separator), or "" for a missing file or key.
QOR_API std::string getConfigValue(const std::string& path, const std::string& key);

// The value as a decimal int, read as strtol does ("12abc" is 12); the
// default for a missing or empty value, one that does not start with a
// number, or one outside the range of int.
QOR_API int getConfigValue(const std::string& path, const std::string& key, int default_value);

}  // namespace ConfigUtils

#endif  // QORBASIC_CONFIG_H
