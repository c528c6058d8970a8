// The environment document of TGlobalMgr: a root "DATAPACKET" whose children
// are sections and whose grandchildren are text values.
#include "cuadrante/services/globalmgr.h"

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
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
    if (!FileExists(EnvFile)) {
      // The file comes into being with its first save; the save is atomic, so
      // no empty file is made first.
      env_ = EmptyEnvironment();
      env_->SaveToFile(EnvFile);
      return true;
    }
    env_ = std::make_unique<cuadrante::TXMLDocument>();
    try {
      env_->LoadFromFile(EnvFile);
    } catch (const Exception&) {
      // Not XML, empty or unreadable: the settings start afresh.
      env_ = EmptyEnvironment();
      env_->SaveToFile(EnvFile);
    }
    // Any well-formed root plays the part of "DATAPACKET".
    return true;
  } catch (const Exception&) {
    env_.reset();
    return false;
  }
}

bool TGlobalMgr::SaveEnviroment() {
  if (!env_) return false;
  try {
    env_->SaveToFile(EnvFile);
    return true;
  } catch (const Exception&) {
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

  const cuadrante::TXMLNode root = env_->DocumentElement();
  cuadrante::TXMLNode target = FindChild(root, section);
  if (target) {
    target.ClearChildren();
  } else {
    target = root.AddChild(section);
  }
  for (const auto& [name, text] : values) target.AddChild(name).SetText(text);
  return SaveEnviroment();
}

bool TGlobalMgr::SetValueEnv(const AnsiString& section, const AnsiString& valueName,
                             const AnsiString value) {
  if (!LoadEnviroment()) return false;
  const cuadrante::TXMLNode root = env_->DocumentElement();
  const cuadrante::TXMLNode found = FindChild(root, section);
  if (!found) {
    CheckElementName(valueName);  // so that a bad value name adds no empty section
    root.AddChild(section).AddChild(valueName).SetText(value);
  } else if (const cuadrante::TXMLNode element = FindChild(found, valueName)) {
    element.SetText(value);
  } else {
    found.AddChild(valueName).SetText(value);
  }
  return SaveEnviroment();
}
