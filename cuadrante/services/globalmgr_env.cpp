// The environment document of TGlobalMgr: a root "DATAPACKET" whose children
// are sections and whose grandchildren are text values.
//
// A change is made to the document as the file holds it at that moment: the
// file is read again under the folder's update lock, the change is applied and
// the document saved before the lock is let go, so processes that change one
// document at once lose nothing of each other's.
#include "cuadrante/services/globalmgr.h"

#include <exception>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/port/files.h"
#include "cuadrante/port/fileutil.h"
#include "cuadrante/runtime/exception.h"

namespace cuadrante::detail {
namespace {

constexpr std::string_view kRootName = "DATAPACKET";

bool IsAscii(std::string_view text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

// Both names turned to lower case and compared. Lookups run on every read of
// a setting, so ASCII names, the usual case, are folded in place.
bool SameName(std::string_view a, std::string_view b) {
  if (IsAscii(a) && IsAscii(b)) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
      const char x = a[i] >= 'A' && a[i] <= 'Z' ? static_cast<char>(a[i] + 32) : a[i];
      const char y = b[i] >= 'A' && b[i] <= 'Z' ? static_cast<char>(b[i] + 32) : b[i];
      if (x != y) return false;
    }
    return true;
  }
  return LowerCase(a) == LowerCase(b);
}

// The first child of `parent` named `name`, in document order.
cuadrante::TXMLNode FindChild(cuadrante::TXMLNode parent, std::string_view name) {
  for (cuadrante::TXMLNode child = parent.FirstChild(); child; child = child.NextSibling()) {
    if (SameName(child.Name(), name)) return child;
  }
  return {};
}

// Raises EXMLDocError for a name that the document would refuse, before the
// caller changes anything: a change is made whole or not at all.
void CheckElementName(std::string_view name) {
  cuadrante::TXMLDocument scratch;
  scratch.CreateDocumentElement(name);
}

// A fresh document holding the empty root alone.
std::unique_ptr<cuadrante::TXMLDocument> EmptyEnvironment() {
  auto document = std::make_unique<cuadrante::TXMLDocument>();
  document->CreateDocumentElement(kRootName);
  return document;
}

// What a read of the environment file found.
struct TEnvironmentRead {
  // The document the file holds, or an empty root when there is none.
  std::unique_ptr<cuadrante::TXMLDocument> document;
  // The file is missing, empty or isn't XML: the next save writes it afresh.
  bool replace = false;
  // Why a file that is there isn't XML (empty when it is missing), and its
  // bytes, to be kept aside before they are replaced.
  AnsiString why;
  AnsiString text;
};

// The document as `path` holds it. A file that is missing, empty or isn't XML
// reads as an empty root to be written afresh. A file that is there but can't
// be read (not a regular file, over the size limit, an I/O error) raises
// EFileError, and one that is well-formed but beyond the document's bounds
// raises EXMLLimitError: neither is broken, and neither may be replaced by a
// document that lost its contents.
TEnvironmentRead ReadEnvironment(const AnsiString& path) {
  TEnvironmentRead read;
  if (PathIsMissing(path)) {
    read.document = EmptyEnvironment();
    read.replace = true;
    return read;
  }
  AnsiString text = cuadrante::ReadWholeFile(path, cuadrante::kSettingsFileLimit);
  read.document = std::make_unique<cuadrante::TXMLDocument>();
  try {
    read.document->LoadFromXML(text);
  } catch (const cuadrante::EXMLLimitError& e) {
    throw cuadrante::EXMLLimitError("'" + path + "' was left as it is: " + e.Message);
  } catch (const EXMLDocError& e) {
    read.document = EmptyEnvironment();
    read.replace = true;
    read.why = e.Message;
    read.text = std::move(text);
  }
  return read;
}

// Keeps the bytes of `path`, a file that isn't XML and is about to be
// replaced, in "<path>.unreadable" (replacing an older copy) through the one
// writer of the library, and says so for EnvironmentProblem. An empty file has
// nothing to keep. Raises EFCreateError, `path` untouched, when the copy can't
// be written.
AnsiString KeepAside(const AnsiString& path, const TEnvironmentRead& read) {
  if (read.text.empty())
    return "'" + path + "' was empty, and now holds an empty " + AnsiString(kRootName);
  const AnsiString aside = path + ".unreadable";
  const AnsiString what = "'" + path + "' is not XML (" + read.why + ")";
  const bool made = PrepareSideCopy(path, aside);
  try {
    cuadrante::WriteFileAtomically(aside, read.text);
  } catch (const Exception& e) {
    if (made) RemoveName(aside);
    throw EFCreateError(what + ", and was left as it is: its text could not be kept: " + e.Message);
  }
  return what + "; its text was kept in '" + aside + "'";
}

// What EnvironmentProblem says of a failure: the library's own exceptions
// name the file already.
AnsiString Describe(const AnsiString& path, const std::exception& e) {
  if (const auto* known = dynamic_cast<const Exception*>(&e)) return known->Message;
  return "'" + path + "': " + e.what();
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

void TGlobalMgr::SetFileEnv(const AnsiString& file) {
  env_.reset();
  envProblem_.clear();
  EnvFile = file;
}

AnsiString TGlobalMgr::GetFileEnv() const { return EnvFile; }

bool TGlobalMgr::LoadEnviroment() {
  if (env_) return true;
  envProblem_.clear();
  try {
    const cuadrante::TFileUpdateLock lock(EnvFile);
    TEnvironmentRead read = ReadEnvironment(EnvFile);
    // A missing file comes into being with its first save, and a file that
    // isn't XML starts afresh once its bytes are safe; the save is atomic, so
    // no empty file is made first. Any well-formed root plays the part of
    // "DATAPACKET".
    if (read.replace) {
      if (!read.why.empty()) envProblem_ = KeepAside(EnvFile, read);
      read.document->SaveToFile(EnvFile, cuadrante::kSettingsFileLimit);
    }
    env_ = std::move(read.document);
    return true;
  } catch (const std::exception& e) {
    // An Exception, or no memory for a huge document: nothing is loaded.
    // What was kept aside before the failure is still worth knowing.
    const AnsiString why = Describe(EnvFile, e);
    envProblem_ = envProblem_.empty() ? why : envProblem_ + "; then " + why;
    env_.reset();
    return false;
  }
}

// Applies `change` to the document as the file holds it now and saves it,
// all under the file's update lock; `fresh` when the caller loaded the
// document under that lock, which it still holds. The document read then
// becomes the loaded one, whether the save succeeds or not; with no file, or
// one that isn't XML (its bytes kept aside first), the loaded document takes
// the change. False when the file can't be read, lies beyond the document's
// bounds or can't be written; a name that isn't XML raises EXMLDocError with
// nothing saved.
template <typename Change>
bool TGlobalMgr::iChangeEnviroment(bool fresh, Change change) {
  try {
    const cuadrante::TFileUpdateLock lock(EnvFile);
    // A document that the caller loaded under the lock it still holds is the
    // file as it is now: no second read, and no second tree in memory.
    if (fresh) {
      change(env_->DocumentElement());
      return SaveEnviroment();
    }
    envProblem_.clear();
    TEnvironmentRead read = ReadEnvironment(EnvFile);
    // With nothing readable in the file, the loaded document is what the
    // change applies to, and what the file will hold.
    if (read.replace) {
      if (!read.why.empty()) envProblem_ = KeepAside(EnvFile, read);
      change(env_->DocumentElement());
    } else {
      change(read.document->DocumentElement());
      env_ = std::move(read.document);
    }
    return SaveEnviroment();
  } catch (const cuadrante::EXMLLimitError& e) {
    envProblem_ = e.Message;  // the file read, beyond the bounds
    return false;
  } catch (const EXMLDocError&) {
    throw;
  } catch (const std::exception& e) {
    envProblem_ = Describe(EnvFile, e);
    return false;
  }
}

bool TGlobalMgr::SaveEnviroment() {
  if (!env_) return false;
  try {
    // Never a text that the next load would refuse: the file keeps its old one.
    env_->SaveToFile(EnvFile, cuadrante::kSettingsFileLimit);
    return true;
  } catch (const std::exception& e) {
    envProblem_ = Describe(EnvFile, e);
    return false;
  }
}

AnsiString TGlobalMgr::GetNodeEnv(const AnsiString& section) {
  if (!LoadEnviroment()) return AnsiString();
  const cuadrante::TXMLNode found = FindChild(env_->DocumentElement(), section);
  return found ? found.GetXML() : AnsiString();
}

AnsiString TGlobalMgr::GetValueEnv(const AnsiString& section, const AnsiString& value) {
  if (!LoadEnviroment()) return AnsiString();
  const cuadrante::TXMLNode found = FindChild(env_->DocumentElement(), section);
  if (!found) return AnsiString();
  // An element with children where a text belongs gives its first piece of
  // text, or the empty text; the two-level model has nothing better to say.
  return AnsiString(FindChild(found, value).Text());
}

bool TGlobalMgr::SetNodeEnv(const AnsiString& section, const AnsiString& xml) {
  // Held from the load to the save, so that a document loaded here needs no
  // second read before the change.
  const cuadrante::TFileUpdateLock lock(EnvFile);
  const bool fresh = !env_;
  if (!LoadEnviroment()) return false;
  // Parsed first: text that isn't XML leaves the section with its values.
  std::vector<std::pair<AnsiString, AnsiString>> values;
  {
    cuadrante::TXMLDocument given;
    given.LoadFromXML(xml);
    for (cuadrante::TXMLNode child = given.DocumentElement().FirstChild(); child;
         child = child.NextSibling()) {
      values.emplace_back(AnsiString(child.Name()), AnsiString(child.Text()));
    }
  }
  for (const auto& [name, text] : values) CheckElementName(name);
  return iChangeEnviroment(fresh, [&](cuadrante::TXMLNode root) {
    cuadrante::TXMLNode target = FindChild(root, section);
    if (target) {
      target.ClearChildren();
    } else {
      target = root.AddChild(section);
    }
    for (const auto& [name, text] : values) target.AddChild(name).SetText(text);
  });
}

bool TGlobalMgr::SetValueEnv(const AnsiString& section, const AnsiString& valueName,
                             const AnsiString value) {
  const cuadrante::TFileUpdateLock lock(EnvFile);  // as in SetNodeEnv
  const bool fresh = !env_;
  if (!LoadEnviroment()) return false;
  CheckElementName(section);
  CheckElementName(valueName);
  // A text that XML cannot carry would be cut, changed or make the file
  // unreadable to other parsers: refused before anything is written.
  if (!cuadrante::CanCarryText(value)) return false;
  return iChangeEnviroment(fresh, [&](cuadrante::TXMLNode root) {
    const cuadrante::TXMLNode found = FindChild(root, section);
    if (!found) {
      root.AddChild(section).AddChild(valueName).SetText(value);
    } else if (const cuadrante::TXMLNode element = FindChild(found, valueName)) {
      element.SetText(value);
    } else {
      found.AddChild(valueName).SetText(value);
    }
  });
}
