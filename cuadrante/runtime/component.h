// Host objects: the common base `TObject`, owned component trees, and string
// properties that can be read and written by name.
//
// A class publishes string properties by returning a `TPropertyTable` from
// `PublishedProperties`; the table starts from its base class's table and adds
// a getter and setter per name. `GetPropInfo`, `GetStrProp` and `SetStrProp`
// then reach any property of any object by its name, as the form translator
// does. A `TComponent` owns the components created with it as owner and deletes
// them with itself. Tables are immutable once built and safe from any thread;
// a component tree is for one thread at a time.
//
// Example:
//   class TLabel : public TComponent {
//    public:
//     using TComponent::TComponent;
//     AnsiString Caption;
//     const TPropertyTable& PublishedProperties() const override {
//       static const TPropertyTable table =
//           TPropertyTable(TComponent::PublishedProperties()).Add("Caption", &TLabel::Caption);
//       return table;
//     }
//   };
//   SetStrProp(label, "caption", "Hola");  // names ignore case
#pragma once

#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

class TObject;

// One string property: its name and how to read and write it on an instance of
// the class that published it. `Set` is empty for a read-only property.
struct CUADRANTE_API TPropInfo {
  AnsiString Name;
  std::function<AnsiString(const TObject&)> Get;
  std::function<void(TObject&, const AnsiString&)> Set;
};
using PPropInfo = const TPropInfo*;

// The string properties of one class, those of its bases included.
class CUADRANTE_API TPropertyTable {
 public:
  TPropertyTable();
  // A derived class starts from a copy of its base class's table.
  TPropertyTable(const TPropertyTable& base);
  TPropertyTable& operator=(const TPropertyTable&);
  ~TPropertyTable();

  // A property read and written through member functions; a null setter makes
  // it read-only.
  template <class T>
  TPropertyTable& Add(const AnsiString& name, AnsiString (T::*getter)() const,
                      void (std::type_identity_t<T>::*setter)(const AnsiString&)) {
    TPropInfo info{
        name, [getter](const TObject& o) { return (static_cast<const T&>(o).*getter)(); }, nullptr};
    if (setter != nullptr) {
      info.Set = [setter](TObject& o, const AnsiString& v) { (static_cast<T&>(o).*setter)(v); };
    }
    return Add(std::move(info));
  }
  // A property that is a plain text field.
  template <class T>
  TPropertyTable& Add(const AnsiString& name, AnsiString T::*field) {
    return Add(
        TPropInfo{name, [field](const TObject& o) { return static_cast<const T&>(o).*field; },
                  [field](TObject& o, const AnsiString& v) { static_cast<T&>(o).*field = v; }});
  }
  // A later entry of the same name hides an earlier one, as a derived class
  // redefines a property of its base.
  TPropertyTable& Add(TPropInfo info);

  // The property of that name, compared without regard to case, or null.
  PPropInfo Find(std::string_view name) const;
  int Count() const { return static_cast<int>(props_.size()); }

 private:
  std::vector<TPropInfo> props_;
};

// Raised when a property is read or written that the object does not have, or
// written when it is read-only.
class CUADRANTE_API EPropertyError : public Exception {
 public:
  using Exception::Exception;
  ~EPropertyError() override;
};

class CUADRANTE_API TObject {
 public:
  TObject();
  TObject(const TObject&);
  TObject& operator=(const TObject&);
  virtual ~TObject();
  // The string properties of this object's class; a bare TObject has none.
  virtual const TPropertyTable& PublishedProperties() const;
};

// The property `propName` of `instance`, or null when there is no such property
// or no instance. The pointer stays valid for the life of the program.
CUADRANTE_API PPropInfo GetPropInfo(const TObject* instance, std::string_view propName);
// Reads the property as text; EPropertyError when it does not exist.
CUADRANTE_API AnsiString GetStrProp(const TObject* instance, std::string_view propName);
CUADRANTE_API AnsiString GetStrProp(const TObject* instance, PPropInfo prop);
// Writes the property; EPropertyError when it does not exist or is read-only.
CUADRANTE_API void SetStrProp(TObject* instance, std::string_view propName,
                              const AnsiString& value);
CUADRANTE_API void SetStrProp(TObject* instance, PPropInfo prop, const AnsiString& value);

// A node of an ownership tree. A component made with an owner is listed by it
// in creation order and deleted with it; deleting a component first takes it
// out of its owner's list. Publishes "Name".
class CUADRANTE_API TComponent : public TObject {
 public:
  // `owner` may be null; otherwise it takes ownership of this component.
  explicit TComponent(TComponent* owner);
  TComponent(const TComponent&) = delete;
  TComponent& operator=(const TComponent&) = delete;
  // Deletes the owned components, the last one first.
  ~TComponent() override;

  AnsiString Name;

  TComponent* Owner() const { return owner_; }
  int ComponentCount() const { return static_cast<int>(components_.size()); }
  // The owned component at `index`, in the order they were inserted;
  // EStringListError when out of range. Borrowed.
  TComponent* GetComponent(int index) const;
  // Takes ownership of `component`, taking it from its former owner first.
  void InsertComponent(TComponent* component);
  // Gives up ownership of `component`, which the caller then owns.
  void RemoveComponent(TComponent* component);

  const TPropertyTable& PublishedProperties() const override;

 private:
  TComponent* owner_ = nullptr;
  std::vector<TComponent*> components_;
};
