#include "cuadrante/runtime/component.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Records the order in which components die.
class TTracked : public TComponent {
 public:
  TTracked(TComponent* owner, std::vector<std::string>& deaths, const char* name)
      : TComponent(owner), deaths_(deaths) {
    Name = name;
  }
  ~TTracked() override { deaths_.push_back(Name); }

 private:
  std::vector<std::string>& deaths_;
};

class TLabel : public TComponent {
 public:
  using TComponent::TComponent;
  AnsiString Caption;
  const TPropertyTable& PublishedProperties() const override {
    static const TPropertyTable table =
        TPropertyTable(TComponent::PublishedProperties()).Add("Caption", &TLabel::Caption);
    return table;
  }
};

// A derived class that adds an accessor pair, a read-only property, and
// redefines the caption of its base.
class TButton : public TLabel {
 public:
  using TLabel::TLabel;
  AnsiString GetHint() const { return hint_; }
  void SetHint(const AnsiString& hint) { hint_ = "[" + hint + "]"; }
  AnsiString GetKind() const { return "button"; }
  AnsiString GetCaption() const { return "button caption"; }
  const TPropertyTable& PublishedProperties() const override {
    static const TPropertyTable table = TPropertyTable(TLabel::PublishedProperties())
                                            .Add("Hint", &TButton::GetHint, &TButton::SetHint)
                                            .Add("Kind", &TButton::GetKind, nullptr)
                                            .Add("Caption", &TButton::GetCaption, nullptr);
    return table;
  }

 private:
  AnsiString hint_;
};

TEST(TComponent, OwnsItsComponentsAndDeletesThemWithItself) {
  std::vector<std::string> deaths;
  auto* form = new TTracked(nullptr, deaths, "form");
  auto* a = new TTracked(form, deaths, "a");
  auto* b = new TTracked(form, deaths, "b");
  auto* c = new TTracked(form, deaths, "c");
  new TTracked(a, deaths, "a1");
  EXPECT_EQ(a->Owner(), form);
  EXPECT_EQ(form->ComponentCount(), 3);
  EXPECT_THROW(form->GetComponent(3), EStringListError);
  EXPECT_THROW(form->GetComponent(-1), EStringListError);
  delete b;  // leaves its owner's list
  ASSERT_EQ(form->ComponentCount(), 2);
  EXPECT_EQ(form->GetComponent(1), c);

  auto* loose = new TTracked(form, deaths, "loose");
  c->InsertComponent(loose);  // changes owner
  EXPECT_EQ(loose->Owner(), c);
  EXPECT_EQ(form->ComponentCount() * 10 + c->ComponentCount(), 21);
  c->RemoveComponent(loose);
  EXPECT_EQ(loose->Owner(), nullptr);
  EXPECT_EQ(c->ComponentCount(), 0);

  // A component's own destructor body runs before it deletes what it owns;
  // the owned ones go last first.
  delete form;
  EXPECT_EQ(deaths, (std::vector<std::string>{"b", "form", "c", "a", "a1"}));
  delete loose;
}

TEST(TComponent, StringPropertiesByName) {
  TComponent form(nullptr);
  auto* label = new TLabel(&form);
  auto* button = new TButton(&form);

  EXPECT_EQ(GetPropInfo(nullptr, "Name"), nullptr);
  EXPECT_EQ(GetPropInfo(&form, "Caption"), nullptr);

  SetStrProp(label, "CAPTION", "Hola");  // names ignore case
  EXPECT_EQ(GetStrProp(label, "Caption"), "Hola");
  SetStrProp(label, "Name", "lblHola");  // inherited from TComponent
  EXPECT_EQ(label->Name, "lblHola");

  SetStrProp(button, "Hint", "pulse");
  EXPECT_EQ(GetStrProp(button, "hint"), "[pulse]");
  EXPECT_EQ(GetStrProp(button, "Kind"), "button");
  EXPECT_THROW(SetStrProp(button, "Kind", "x"), EPropertyError);
  // The derived definition hides the base field.
  EXPECT_EQ(GetStrProp(button, "Caption"), "button caption");

  EXPECT_THROW(GetStrProp(label, "Hint"), EPropertyError);
  EXPECT_THROW(SetStrProp(label, "Hint", "x"), EPropertyError);
}

}  // namespace
