#include "cuadrante/runtime/stringlist.h"

#include <algorithm>
#include <string>

#include "cuadrante/runtime/exception.h"

namespace cuadrante::detail {
namespace {

constexpr std::string_view kLineBreak = "\r\n";

bool Less(const AnsiString& a, const AnsiString& b) { return AnsiCompareText(a, b) < 0; }

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

TStrings::TStrings() = default;
TStrings::TStrings(const TStrings&) = default;
TStrings& TStrings::operator=(const TStrings&) = default;
TStrings::~TStrings() = default;

void TStrings::CheckIndex(int index) const {
  if (index < 0 || index >= Count()) {
    throw EStringListError("List index out of bounds (" + std::to_string(index) + ")");
  }
}

const AnsiString& TStrings::Strings(int index) const {
  CheckIndex(index);
  return items_[static_cast<size_t>(index)].String;
}

void TStrings::SetStrings(int index, const AnsiString& text) {
  CheckIndex(index);
  items_[static_cast<size_t>(index)].String = text;
}

TObject* TStrings::Objects(int index) const {
  CheckIndex(index);
  return items_[static_cast<size_t>(index)].Object;
}

void TStrings::SetObjects(int index, TObject* object) {
  CheckIndex(index);
  items_[static_cast<size_t>(index)].Object = object;
}

int TStrings::AddObject(const AnsiString& text, TObject* object) {
  items_.push_back(Item{text, object});
  return Count() - 1;
}

void TStrings::InsertObject(int index, const AnsiString& text, TObject* object) {
  if (index != Count()) CheckIndex(index);
  items_.insert(items_.begin() + index, Item{text, object});
}

void TStrings::AddStrings(const TStrings& other) {
  // Copied first, so that a list may add its own lines.
  const std::vector<Item> lines = other.items_;
  for (const Item& line : lines) AddObject(line.String, line.Object);
}

void TStrings::Delete(int index) {
  CheckIndex(index);
  items_.erase(items_.begin() + index);
}

int TStrings::IndexOf(const AnsiString& text) const {
  for (int i = 0; i < Count(); ++i) {
    if (SameText(items_[static_cast<size_t>(i)].String, text)) return i;
  }
  return -1;
}

AnsiString TStrings::Names(int index) const {
  const AnsiString& line = Strings(index);
  const size_t equals = line.find('=');
  return equals == AnsiString::npos ? AnsiString() : line.substr(0, equals);
}

AnsiString TStrings::ValueFromIndex(int index) const {
  const AnsiString& line = Strings(index);
  const size_t equals = line.find('=');
  return equals == AnsiString::npos ? AnsiString() : line.substr(equals + 1);
}

int TStrings::IndexOfName(const AnsiString& name) const {
  for (int i = 0; i < Count(); ++i) {
    const AnsiString& line = items_[static_cast<size_t>(i)].String;
    const size_t equals = line.find('=');
    if (equals != AnsiString::npos && SameText(std::string_view(line).substr(0, equals), name)) {
      return i;
    }
  }
  return -1;
}

AnsiString TStrings::Values(const AnsiString& name) const {
  const int index = IndexOfName(name);
  return index < 0 ? AnsiString() : ValueFromIndex(index);
}

void TStrings::SetValue(const AnsiString& name, const AnsiString& value) {
  const int index = IndexOfName(name);
  if (value.empty()) {
    if (index >= 0) Delete(index);
  } else if (index >= 0) {
    SetStrings(index, name + "=" + value);
  } else {
    Add(name + "=" + value);
  }
}

AnsiString TStrings::Text() const {
  size_t size = 0;
  for (const Item& item : items_) size += item.String.size() + kLineBreak.size();
  AnsiString text;
  text.reserve(size);
  for (const Item& item : items_) {
    text += item.String;
    text += kLineBreak;
  }
  return text;
}

void TStrings::SetText(std::string_view text) {
  Clear();
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = text.find_first_of("\r\n", start);
    if (end == std::string_view::npos) {
      Add(AnsiString(text.substr(start)));
      break;
    }
    Add(AnsiString(text.substr(start, end - start)));
    start = end + 1;
    if (text[end] == '\r' && start < text.size() && text[start] == '\n') ++start;
  }
}

TStringList::TStringList() = default;
TStringList::TStringList(const TStringList&) = default;
TStringList& TStringList::operator=(const TStringList&) = default;
TStringList::~TStringList() = default;

void TStringList::SetSorted(bool sorted) {
  if (sorted && !sorted_) {
    std::stable_sort(items_.begin(), items_.end(),
                     [](const Item& a, const Item& b) { return Less(a.String, b.String); });
  }
  sorted_ = sorted;
}

bool TStringList::Find(const AnsiString& text, int& index) const {
  const auto first = std::lower_bound(
      items_.begin(), items_.end(), text,
      [](const Item& item, const AnsiString& key) { return Less(item.String, key); });
  index = static_cast<int>(first - items_.begin());
  return first != items_.end() && AnsiCompareText(first->String, text) == 0;
}

int TStringList::AddObject(const AnsiString& text, TObject* object) {
  if (!sorted_) return TStrings::AddObject(text, object);
  int index = 0;
  if (Find(text, index)) {
    switch (duplicates_) {
      case dupIgnore:
        return index;
      case dupError:
        throw EStringListError("String list does not allow duplicates");
      case dupAccept:
        // Behind its equals, so equal lines keep the order they came in.
        while (index < Count() &&
               AnsiCompareText(items_[static_cast<size_t>(index)].String, text) == 0) {
          ++index;
        }
        break;
    }
  }
  items_.insert(items_.begin() + index, Item{text, object});
  return index;
}

void TStringList::InsertObject(int index, const AnsiString& text, TObject* object) {
  if (sorted_) throw EStringListError("Operation not allowed on sorted list");
  TStrings::InsertObject(index, text, object);
}

void TStringList::SetStrings(int index, const AnsiString& text) {
  if (sorted_) throw EStringListError("Operation not allowed on sorted list");
  TStrings::SetStrings(index, text);
}

int TStringList::IndexOf(const AnsiString& text) const {
  if (!sorted_) return TStrings::IndexOf(text);
  int index = 0;
  return Find(text, index) ? index : -1;
}
