#include "cuadrante/runtime/stringlist.h"

#include <gtest/gtest.h>

#include "cuadrante/runtime/component.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using V = std::vector<std::string>;

V Lines(const TStrings& list) {
  V lines;
  for (int i = 0; i < list.Count(); ++i) lines.push_back(list[i]);
  return lines;
}

TEST(TStrings, SplitsAtEveryLineEndAndJoinsWithCrLf) {
  const std::pair<std::string, V> cases[] = {
      {"a\rb\nc\r\nd", {"a", "b", "c", "d"}},
      {"a\r\n", {"a"}},
      {"", {}},
      {"\r\n\r\n", {"", ""}},
      {"a\n\rb\r\r", {"a", "", "b", ""}},  // LF then CR is two breaks
      {std::string("x\0y\tz", 5), {std::string("x\0y\tz", 5)}}};
  TStrings list;
  for (const auto& [text, lines] : cases) {
    list.SetText(text);
    EXPECT_EQ(Lines(list), lines);
  }
  list.SetText("uno\ndos");
  EXPECT_EQ(list.Text(), "uno\r\ndos\r\n");
}

TEST(TStrings, ReadsAndWritesNameValueLines) {
  TStrings list;
  list.SetText("solo\n x =blank\nDÍA=lunes=1\nmes=\nDía=second\n=vacío\n");
  EXPECT_EQ(list.Values("día"), "lunes=1");  // first match, accents fold, '=' kept
  EXPECT_EQ(list.Values(" X "), "blank");    // blanks belong to the name
  EXPECT_EQ(list.Values("x"), "");
  EXPECT_EQ(list.Values("solo"), "");  // a line without '=' has no name
  EXPECT_EQ(list.Values(""), "vacío");
  EXPECT_EQ(list.IndexOfName("MES"), 3);
  EXPECT_EQ(list.Names(0), "");
  EXPECT_EQ(list.ValueFromIndex(2), "lunes=1");

  list.SetValue("día", "martes");  // rewritten in place with the name as given
  list.SetValue("nuevo", "1");
  list.SetValue("absent", "");
  EXPECT_EQ(Lines(list),
            (V{"solo", " x =blank", "día=martes", "mes=", "Día=second", "=vacío", "nuevo=1"}));
  list.SetValue("DÍA", "");  // an empty value deletes the first line only
  EXPECT_EQ(list.Values("día"), "second");
}

TEST(TStrings, KeepsObjectsWithLinesAndChecksIndexes) {
  TObject one, two;
  TStrings list;
  list.AddObject("b", &two);
  list.InsertObject(0, "a", &one);
  list.Insert(2, "c");  // at Count appends
  EXPECT_EQ(Lines(list), (V{"a", "b", "c"}));
  EXPECT_EQ(list.Objects(1), &two);
  EXPECT_EQ(list.IndexOf("B"), 1);
  list.AddStrings(list);
  EXPECT_EQ(list.Count(), 6);
  EXPECT_EQ(list.Objects(4), &two);
  EXPECT_THROW(list.Strings(-1), EStringListError);
  EXPECT_THROW(list.Delete(6), EStringListError);
  EXPECT_THROW(list.Insert(7, "x"), EStringListError);
}

TEST(TStringList, SortedModeComparesWithoutCaseOrAccentCapitals) {
  TObject day, first, second;
  TStringList list;
  list.SetSorted(true);
  for (const char* line : {"zeta", "b", "A"}) list.Add(line);
  list.AddObject("día", &day);
  EXPECT_EQ(Lines(list), (V{"A", "b", "día", "zeta"}));

  // dupIgnore by default: the existing line stays and its index is answered.
  EXPECT_EQ(list.Add("DÍA"), 2);
  EXPECT_EQ(list.Count(), 4);
  EXPECT_EQ(list.Objects(2), &day);
  int index = -1;
  EXPECT_TRUE(list.Find("DÍA", index));
  EXPECT_EQ(index, 2);
  EXPECT_FALSE(list.Find("c", index));
  EXPECT_EQ(index, 2);  // where it would go
  EXPECT_FALSE(list.Find("zz", index));
  EXPECT_EQ(index, 4);
  EXPECT_EQ(list.IndexOf("zet"), -1);

  list.SetDuplicates(dupError);
  EXPECT_THROW(list.Add("Día"), EStringListError);
  EXPECT_EQ(list.Count(), 4);
  EXPECT_THROW(list.Insert(0, "0"), EStringListError);
  EXPECT_THROW(list.SetStrings(0, "0"), EStringListError);

  list.SetDuplicates(dupAccept);
  list.AddObject("B", &first);
  list.AddObject("b", &second);
  EXPECT_EQ(Lines(list), (V{"A", "b", "B", "b", "día", "zeta"}));
  EXPECT_EQ(list.Objects(3), &second);
  EXPECT_TRUE(list.Find("b", index));
  EXPECT_EQ(index, 1);  // the first of equal lines

  // Turning sorting on sorts stably with the objects; "Á" folds to "á", which
  // sorts after every unaccented letter.
  TStringList later;
  later.AddObject("Beta", &first);
  later.Add("alfa");
  later.AddObject("BETA", &second);
  later.Add("Ábaco");
  later.SetSorted(true);
  EXPECT_EQ(Lines(later), (V{"alfa", "Beta", "BETA", "Ábaco"}));
  EXPECT_EQ(later.Objects(1), &first);
  EXPECT_EQ(later.Objects(2), &second);
  later.SetSorted(false);
  later.Insert(0, "last");  // unsorted again: order is the caller's
  // Turning sorting off, even again, leaves an unsorted list in its order.
  later.SetSorted(false);
  EXPECT_EQ(Lines(later), (V{"last", "alfa", "Beta", "BETA", "Ábaco"}));
}

TEST(TStringList, LoadsAnyLineEndAndSavesCrLf) {
  cuadrante::testing::TempFolder folder;
  const std::string path = folder / "lines.txt";
  cuadrante::testing::WriteText(path, "\xEF\xBB\xBFuno\rdos\ntres\r\ncuatro");
  TStringList list;
  list.LoadFromFile(path);
  EXPECT_EQ(Lines(list), (V{"uno", "dos", "tres", "cuatro"}));
  list.Add("cinco");
  list.SaveToFile(path);
  EXPECT_EQ(cuadrante::testing::ReadText(path), "uno\r\ndos\r\ntres\r\ncuatro\r\ncinco\r\n");
  EXPECT_THROW(list.LoadFromFile(folder / "missing.txt"), EFOpenError);
  EXPECT_EQ(list.Count(), 5);  // a failed load leaves the lines
}

}  // namespace
