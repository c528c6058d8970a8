#include "cuadrante/runtime/component.h"

#include <algorithm>
#include <string>

namespace cuadrante::detail {
namespace {

[[noreturn]] void ThrowNoProperty(std::string_view propName) {
  throw EPropertyError("Property " + AnsiString(propName) + " does not exist");
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

TPropertyTable::TPropertyTable() = default;
TPropertyTable::TPropertyTable(const TPropertyTable& base) = default;
TPropertyTable& TPropertyTable::operator=(const TPropertyTable&) = default;
TPropertyTable::~TPropertyTable() = default;

TPropertyTable& TPropertyTable::Add(TPropInfo info) {
  props_.push_back(std::move(info));
  return *this;
}

PPropInfo TPropertyTable::Find(std::string_view name) const {
  // From the back, so that a derived class's entry hides its base's.
  for (auto it = props_.rbegin(); it != props_.rend(); ++it) {
    if (SameText(it->Name, name)) return &*it;
  }
  return nullptr;
}

EPropertyError::~EPropertyError() = default;

TObject::TObject() = default;
TObject::TObject(const TObject&) = default;
TObject& TObject::operator=(const TObject&) = default;
TObject::~TObject() = default;

const TPropertyTable& TObject::PublishedProperties() const {
  static const TPropertyTable none;
  return none;
}

PPropInfo GetPropInfo(const TObject* instance, std::string_view propName) {
  return instance == nullptr ? nullptr : instance->PublishedProperties().Find(propName);
}

AnsiString GetStrProp(const TObject* instance, std::string_view propName) {
  const PPropInfo prop = GetPropInfo(instance, propName);
  if (prop == nullptr) ThrowNoProperty(propName);
  return prop->Get(*instance);
}

AnsiString GetStrProp(const TObject* instance, PPropInfo prop) {
  if (instance == nullptr || prop == nullptr) ThrowNoProperty(prop ? prop->Name : "");
  return prop->Get(*instance);
}

void SetStrProp(TObject* instance, std::string_view propName, const AnsiString& value) {
  SetStrProp(instance, GetPropInfo(instance, propName), value);
}

void SetStrProp(TObject* instance, PPropInfo prop, const AnsiString& value) {
  if (instance == nullptr || prop == nullptr) ThrowNoProperty(prop ? prop->Name : "");
  if (!prop->Set) throw EPropertyError("Property " + prop->Name + " is read-only");
  prop->Set(*instance, value);
}

TComponent::TComponent(TComponent* owner) {
  if (owner != nullptr) owner->InsertComponent(this);
}

TComponent::~TComponent() {
  // Each owned component is unlinked before it is deleted, so its destructor
  // finds no owner to update and the list is never walked while it changes.
  while (!components_.empty()) {
    TComponent* last = components_.back();
    components_.pop_back();
    last->owner_ = nullptr;
    delete last;
  }
  if (owner_ != nullptr) owner_->RemoveComponent(this);
}

TComponent* TComponent::GetComponent(int index) const {
  if (index < 0 || index >= ComponentCount()) {
    throw EStringListError("List index out of bounds (" + std::to_string(index) + ")");
  }
  return components_[static_cast<size_t>(index)];
}

void TComponent::InsertComponent(TComponent* component) {
  if (component == nullptr || component->owner_ == this) return;
  if (component->owner_ != nullptr) component->owner_->RemoveComponent(component);
  components_.push_back(component);
  component->owner_ = this;
}

void TComponent::RemoveComponent(TComponent* component) {
  const auto it = std::find(components_.begin(), components_.end(), component);
  if (it == components_.end()) return;
  components_.erase(it);
  component->owner_ = nullptr;
}

const TPropertyTable& TComponent::PublishedProperties() const {
  static const TPropertyTable table =
      TPropertyTable(TObject::PublishedProperties()).Add("Name", &TComponent::Name);
  return table;
}
