// The environment document of TGlobalMgr: a root "DATAPACKET" whose children
// are sections and whose grandchildren are text values.
//
// A change is made to the document as the file holds it at that moment: the
// file is read again under the folder's update lock, the change is applied and
// the document saved before the lock is let go, so processes that change one
// document at once lose nothing of each other's.
#include "cuadrante/services/globalmgr.h"

#include <sys/stat.h>

#include <cerrno>
#include <exception>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
#include "cuadrante/runtime/filesystem.h"
#include "cuadrante/runtime/xmldocument.h"

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

// The document as `path` holds it: an empty one when the file is missing,
// and when it is empty or isn't XML (a document nested deeper than
// kMaxXmlDepth counts as one that isn't) (that file is then replaced at the next
// save, as a first load does). A file that is there but can't be read (not a
// regular file, over the size limit, an I/O error) raises EFileError: it must
// not be replaced by a document that lost its contents.
std::unique_ptr<cuadrante::TXMLDocument> ReadEnvironment(const AnsiString& path, bool& missing) {
  struct stat info {};
  missing = cuadrante::FileSystem().Stat(path.c_str(), &info) != 0 &&
            (errno == ENOENT || errno == ENOTDIR);
  if (missing) return EmptyEnvironment();
  const AnsiString text = cuadrante::ReadWholeFile(path, cuadrante::kSettingsFileLimit);
  auto document = std::make_unique<cuadrante::TXMLDocument>();
  try {
    document->LoadFromXML(text);
  } catch (const EXMLDocError&) {
    missing = true;  // to be written afresh
    return EmptyEnvironment();
  }
  return document;
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

void TGlobalMgr::SetFileEnv(const AnsiString& file) {
  env_.reset();
  EnvFile = file;
}

AnsiString TGlobalMgr::GetFileEnv() const { return EnvFile; }

bool TGlobalMgr::LoadEnviroment() {
  if (env_) return true;
  try {
    bool missing = false;
    {
      const cuadrante::TFileUpdateLock lock(EnvFile);
      env_ = ReadEnvironment(EnvFile, missing);
      // A missing file comes into being with its first save, and a file that
      // isn't XML starts afresh; the save is atomic, so no empty file is made
      // first. Any well-formed root plays the part of "DATAPACKET".
      if (missing) env_->SaveToFile(EnvFile);
    }
    return true;
  } catch (const std::exception&) {
    // An Exception, or no memory for a huge document: nothing is loaded.
    env_.reset();
    return false;
  }
}

// Applies `change` to the document as the file holds it now and saves it,
// all under the file's update lock. The document read then becomes the loaded
// one, whether the save succeeds or not; with no file, or one that isn't XML,
// the loaded document takes the change. False when the file can't be read or
// written; a name that isn't XML raises EXMLDocError with nothing saved.
template <typename Change>
bool TGlobalMgr::iChangeEnviroment(Change change) {
  if (!LoadEnviroment()) return false;
  try {
    const cuadrante::TFileUpdateLock lock(EnvFile);
    bool missing = false;
    std::unique_ptr<cuadrante::TXMLDocument> current = ReadEnvironment(EnvFile, missing);
    // With nothing readable in the file, the loaded document is what the
    // change applies to, and what the file will hold.
    if (missing) {
      change(env_->DocumentElement());
    } else {
      change(current->DocumentElement());
      env_ = std::move(current);
    }
    return SaveEnviroment();
  } catch (const EXMLDocError&) {
    throw;
  } catch (const std::exception&) {
    return false;
  }
}

bool TGlobalMgr::SaveEnviroment() {
  if (!env_) return false;
  try {
    env_->SaveToFile(EnvFile);
    return true;
  } catch (const std::exception&) {
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
  return iChangeEnviroment([&](cuadrante::TXMLNode root) {
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
  if (!LoadEnviroment()) return false;
  CheckElementName(section);
  CheckElementName(valueName);
  // A text that XML cannot carry would be cut, changed or make the file
  // unreadable to other parsers: refused before anything is written.
  if (!cuadrante::CanCarryText(value)) return false;
  return iChangeEnviroment([&](cuadrante::TXMLNode root) {
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
