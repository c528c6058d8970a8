// Ordered lists of text lines, each line with an attached object pointer.
//
// `TStrings` keeps lines in the order they were put; `TStringList` adds a
// sorted mode in which lines are kept in case-insensitive order (Unicode case
// folding: "DÍA" and "día" are one text) and found by binary search. Lines can
// be read as name=value pairs. The attached objects are borrowed: a list never
// deletes them. A list is for one thread at a time; its owner guards it.
//
// Example:
//   TStringList list;
//   list.SetText("b=2\r\na=1\n");
//   list.Values("A") == "1"; list.Text() == "b=2\r\na=1\r\n";
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

class TObject;

class CUADRANTE_API TStrings {
 public:
  TStrings();
  TStrings(const TStrings&);
  TStrings& operator=(const TStrings&);
  virtual ~TStrings();

  int Count() const { return static_cast<int>(items_.size()); }
  // The line at `index`; EStringListError when the index is out of range.
  const AnsiString& Strings(int index) const;
  const AnsiString& operator[](int index) const { return Strings(index); }
  virtual void SetStrings(int index, const AnsiString& text);
  TObject* Objects(int index) const;
  void SetObjects(int index, TObject* object);

  // Appends a line (a sorted list places it in order) and answers its index.
  int Add(const AnsiString& text) { return AddObject(text, nullptr); }
  virtual int AddObject(const AnsiString& text, TObject* object);
  void Insert(int index, const AnsiString& text) { InsertObject(index, text, nullptr); }
  // `index` may equal Count() to append.
  virtual void InsertObject(int index, const AnsiString& text, TObject* object);
  void AddStrings(const TStrings& other);
  void Delete(int index);
  void Clear() { items_.clear(); }

  // The first line equal to `text` when case is ignored, or -1.
  virtual int IndexOf(const AnsiString& text) const;

  // name=value access. A line's name is what precedes its first "=" (a line
  // without "=" has no name and is never matched); names compare without
  // regard to case, and the first matching line wins.
  AnsiString Names(int index) const;
  AnsiString ValueFromIndex(int index) const;
  int IndexOfName(const AnsiString& name) const;
  // The value of the first line named `name`, or the empty text.
  AnsiString Values(const AnsiString& name) const;
  // Rewrites the first line named `name` in place as name=value, or appends
  // it; an empty value deletes that line instead.
  void SetValue(const AnsiString& name, const AnsiString& value);

  // Every line followed by CR LF; an empty list gives the empty text.
  AnsiString Text() const;
  // Replaces all lines with those of `text`. A line ends at CR, LF or CR LF; a
  // break at the very end adds no empty line.
  void SetText(std::string_view text);

  // Replaces the lines with those of the file, read as by SetText; a leading
  // UTF-8 byte-order mark is skipped. EFOpenError when the file can't be read.
  void LoadFromFile(const AnsiString& fileName);
  // Writes Text() over the file atomically; EFCreateError on failure, and the
  // old file is left whole.
  void SaveToFile(const AnsiString& fileName) const;

 protected:
  struct Item {
    AnsiString String;
    TObject* Object = nullptr;
  };
  void CheckIndex(int index) const;

  std::vector<Item> items_;
};

enum TDuplicates : int8_t { dupIgnore = 0, dupAccept = 1, dupError = 2 };

class CUADRANTE_API TStringList : public TStrings {
 public:
  TStringList();
  TStringList(const TStringList&);
  TStringList& operator=(const TStringList&);
  ~TStringList() override;

  bool Sorted() const { return sorted_; }
  // Turning the sorted mode on sorts the lines (equal lines keep their order);
  // lines already equal stay, whatever Duplicates says.
  void SetSorted(bool sorted);
  // What adding a line equal to one in a sorted list does: ignore it (and
  // answer the existing index), accept it behind its equals, or raise
  // EStringListError. Unsorted lists accept every line. Default: dupIgnore.
  TDuplicates Duplicates() const { return duplicates_; }
  void SetDuplicates(TDuplicates duplicates) { duplicates_ = duplicates; }

  // Binary search of a sorted list: true and the index of the first equal line,
  // or false and the index where `text` would go.
  bool Find(const AnsiString& text, int& index) const;

  int AddObject(const AnsiString& text, TObject* object) override;
  // Both raise EStringListError on a sorted list, whose order is its own.
  void InsertObject(int index, const AnsiString& text, TObject* object) override;
  void SetStrings(int index, const AnsiString& text) override;
  int IndexOf(const AnsiString& text) const override;

 private:
  bool sorted_ = false;
  TDuplicates duplicates_ = dupIgnore;
};
