#include "cuadrante/vocabulary/basicdefines.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "cuadrante/services/translate.h"
#include "cuadrante/testing/testsupport.h"

namespace {

TBasicClass Class(int value) { return static_cast<TBasicClass>(value); }

// The labels of `values`, joined by "|".
template <typename F>
std::string Labels(F label, std::initializer_list<int> values) {
  std::string joined;
  for (const int v : values) joined += (joined.empty() ? "" : "|") + label(v);
  return joined;
}

TEST(Labels, EdgesOfEveryTableAndTheBitsThatChoose) {
  // Tables that take the low 8 bits see 258 as 2 and 130 as -126; those that
  // take all 16 bits see 256 as 256.
  EXPECT_EQ(Labels(GetClassAsString, {1, 29, 30, 258}), "<N/A>|Retraso|<N/A>|UnidadFisica");
  EXPECT_EQ(Labels(GetClassAsStringToShow, {258, 130}), "Unidad Física|<N/A>");
  EXPECT_EQ(
      Labels([](int v) { return GetClassAsStringToShowP(Class(v)); }, {bcAuxiliaryObject, 30}),
      "Objectos auxiliares|<N/A>");
  // The format has a blank and brackets, but not around the fallback.
  EXPECT_EQ(Labels([](int v) { return GetClassFormat(Class(v)); }, {bcAuxiliaryObject, 0}),
            " [Objetos auxiliares]|<N/A>");
  EXPECT_EQ(Labels(GetSubclassAsString, {0, 256}), "Genérico|<N/A>");
  EXPECT_EQ(Labels(GetSubclassAsStringP, {4, 5}), "Presencias|<N/A>");
  EXPECT_EQ(Labels(GetUserTypesAsStr, {11, 16, 24 + 256, 25}), "referencia|referencia|color|<N/A>");
  EXPECT_EQ(Labels(GetIncidenceTypeAsStr, {0, 1, 12, 13, 11 + 256}),
            "<N/A>|Libre|Aumento jornada|<N/A>|Reducción Jornada");
  EXPECT_EQ(Labels([](int v) { return GetGroupModeStr(static_cast<TTimesGroup>(v)); },
                   {0, tgQuarter, 9, -1}),
            "diario|Trimestral|diario|diario");
  EXPECT_EQ(Labels(GetRestTypeAsStr, {0, 7, 8, 3 + 256}), "Contrato|Aumento j.|<N/A>|Baja");
  EXPECT_EQ(Labels(GetPrecisionStr, {0, 3, 4, 257}), "1 hora|5 minutos|1 hora|1 hora");
  // Days past Sunday count on from Monday; those below it are Sunday.
  EXPECT_EQ(Labels(GetDayStr, {0, 6, 7, 8, 257, -1}), "Lunes|Domingo|Domingo|Lunes|Martes|Domingo");
  EXPECT_EQ(Labels(GetActivityStr, {1, 2, -1, 256}), "Activo|Eliminado|Eliminado|Eliminado");
  EXPECT_EQ(Labels(GetBooleanAsStr, {0, -1, 256}), "No|Sí|Sí");
}

// One label call and whether a dictionary may replace what it gives.
struct Row {
  std::string Name;
  std::function<AnsiString()> Call;
  bool Translated;
};

std::vector<Row> AllRows() {
  std::vector<Row> rows;
  // `marks` holds one T for each value from `from` that a dictionary translates.
  const auto add = [&rows](const char* name, int from, int to, std::string marks, auto call) {
    marks.resize(static_cast<size_t>(to - from + 1), marks.back());
    for (int v = from; v <= to; ++v) {
      rows.push_back({name + ("(" + std::to_string(v) + ")"), [call, v] { return call(v); },
                      marks[static_cast<size_t>(v - from)] == 'T'});
    }
  };
  add("GetClassAsString", 2, 29, ".", GetClassAsString);
  add("GetClassAsStringToShow", 2, 29, "T..T.T..T.TTT......TT..TTTTT", GetClassAsStringToShow);
  add("GetClassAsStringToShowP", 2, 29, ".....T..T.TTT......T....TTTT",
      [](int v) { return GetClassAsStringToShowP(Class(v)); });
  add("GetClassFormat", 2, 29, "..........T............TTTTT",
      [](int v) { return GetClassFormat(Class(v)); });
  add("GetSubclassAsString", 0, 4, "T", GetSubclassAsString);
  add("GetSubclassAsStringP", 0, 4, "T", GetSubclassAsStringP);
  add("GetUserTypesAsStr", 0, 24, ".", GetUserTypesAsStr);
  add("GetIncidenceTypeAsStr", 1, 12, "T", GetIncidenceTypeAsStr);
  add("GetGroupModeStr", 0, 6, "T",
      [](int v) { return GetGroupModeStr(static_cast<TTimesGroup>(v)); });
  add("GetRestTypeAsStr", 0, 7, "T", GetRestTypeAsStr);
  add("GetPrecisionStr", 0, 3, "T", GetPrecisionStr);
  add("GetDayStr", 0, 6, "T", GetDayStr);
  add("GetActivityStr", 0, 2, ".", GetActivityStr);
  add("GetBooleanAsStr", 0, 1, ".", GetBooleanAsStr);
  return rows;
}

AnsiString English(const std::string& literal) { return "EN " + UpperCase(literal); }

TEST(Labels, OnlyMarkedRowsChangeWithADictionary) {
  // With translation off every call gives its literal; those make a
  // dictionary that knows them all, and the fallback too.
  const std::vector<Row> rows = AllRows();
  std::vector<std::string> literals;
  for (const Row& row : rows) {
    literals.push_back(row.Call());
    EXPECT_NE(literals.back(), "<N/A>") << row.Name;
  }
  cuadrante::testing::TempFolder folder;
  std::string dictionary = "<N/A>\tNOT AVAILABLE\r\n";
  for (const std::string& literal : literals)
    dictionary += literal + "\t" + English(literal) + "\r\n";
  cuadrante::testing::WriteText(folder / "trans.ini.dic", dictionary);
  cuadrante::testing::WriteText(folder / "trans.ini", "[Localization]\nDictionary=.dic\n");
  bTransActivated = true;
  InitTRANS(folder / "trans.ini");
  ASSERT_NE(_Translate, nullptr);
  ASSERT_EQ(_Translate->Loaded, 1);

  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].Call(), rows[i].Translated ? English(literals[i]) : literals[i])
        << rows[i].Name;
  }
  // Fallbacks are never translated; out-of-range days and periods still are.
  EXPECT_EQ(GetClassFormat(Class(30)), "<N/A>");
  EXPECT_EQ(GetIncidenceTypeAsStr(13), "<N/A>");
  EXPECT_EQ(GetGroupModeStr(static_cast<TTimesGroup>(9)), "EN DIARIO");
  EXPECT_EQ(GetDayStr(-4), "EN DOMINGO");
  EXPECT_FALSE(_Translate->Modified);

  EndTRANS();
  bTransActivated = false;
}

}  // namespace
