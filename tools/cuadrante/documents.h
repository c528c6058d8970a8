// What the commands read and write besides their arguments: point-set
// documents and plans from files or stdin, the point-set document they print,
// and the folders a file about to be written needs. Failures are the library's
// Exceptions and name the path. Single-threaded, as the tool is.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/sysutils.h"

namespace cuadrante::tool {

// What the POINT elements of a point-set document hold, told by their field
// count: stored points (4 fields), boxes (7) or rules (8), or nothing at all.
enum class DocumentKind { kPoints, kBoxes, kRules, kEmpty };
// All of stdin, refused as soon as it passes `limit` bytes with a message
// that ends with `what`, which names the bound.
std::string ReadStandardInput(size_t limit, const std::string& what);
// Reads the document at `path` ("-" is stdin) into `text` and tells its kind.
// A file that is missing, no regular file, too large, malformed XML, of
// another root than POINTSMGR, or whose points differ in kind is bad input,
// raised as an Exception that names the path, and so is an element whose
// values no plan can use (a negative length, type 99, a date before 1900...).
// With `problems`, such elements are counted there instead and the first
// kListed of them described, each as "element N ...", and the kind is that
// of the sound ones. An empty POINTSMGR holds nothing, which every command
// reads as no points and no rules.
struct Problems {
  // Enough to mend a document by; a document of millions of bad elements
  // must not take memory, or a terminal, for every one of them.
  static constexpr size_t kListed = 100;
  std::vector<std::string> listed;
  size_t count = 0;
};
DocumentKind ReadDocument(const std::string& path, AnsiString& text, Problems* problems = nullptr);
// The largest plan or point-set document the tool reads: ~900,000 points,
// far beyond any roster, and its tree stays under ~600 MB however it is made.
inline constexpr size_t kLargestDocumentBytes = size_t{32} << 20;
// What ics-import and validate read and, so that every export can be read
// back, the most that ics writes (some 200,000 events: a month of 6,000
// people). The reader parses one event at a time, so its time and memory
// follow the text's size: at this size some 10 s and 750 MB.
inline constexpr size_t kCalendarFileLimit = size_t{64} << 20;
// Loads the rules of `path`; the expansion is not clipped by a range of its own.
void LoadRules(const std::string& path, TCyclePointMgr& rules);
// The same from the `text` of a document that ReadDocument found to hold rules.
void LoadRulesFrom(const std::string& path, const AnsiString& text, TCyclePointMgr& rules);
// Loads the stored points or boxes at `path` into `set`, as points.
void LoadDocument(const std::string& path, TBasicPointMgr& set);
// The plan at `path` ("-": stdin); bad input names the path. With `text`,
// the document as it was read, for a command that writes it back.
roster::TPlan LoadPlan(const std::string& path, std::string* text = nullptr);

// The set as a point-set document on stdout, which the commands read back;
// an empty set is an empty POINTSMGR.
void PrintAsDocument(const TBasicPointMgr& set);
// The same document as a text, for a file.
std::string DocumentText(const TBasicPointMgr& set);

// Creates the folders above `path` that are missing, for a file about to be
// written; raises EFCreateError naming the folder that cannot be made.
void MakeFoldersFor(const std::string& path);

}  // namespace cuadrante::tool
