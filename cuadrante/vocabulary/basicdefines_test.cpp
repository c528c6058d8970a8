#include "cuadrante/vocabulary/basicdefines.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "cuadrante/services/translate.h"

namespace {

TEST(Labels, EdgesOfEveryTable) {
  EXPECT_EQ(GetClassAsString(1), "<N/A>");
  EXPECT_EQ(GetClassAsString(0), "<N/A>");
  EXPECT_EQ(GetClassAsString(-1), "<N/A>");
  EXPECT_EQ(GetClassAsString(2), "UnidadFisica");
  EXPECT_EQ(GetClassAsString(29), "Retraso");
  EXPECT_EQ(GetClassAsString(30), "<N/A>");
  EXPECT_EQ(GetClassAsString(258), "UnidadFisica");  // only the low byte counts
  EXPECT_EQ(GetClassAsString(256 + 29), "Retraso");
  EXPECT_EQ(GetClassAsStringToShow(258), "Unidad Física");
  EXPECT_EQ(GetClassAsStringToShow(130), "<N/A>");  // low byte -126
  EXPECT_EQ(GetClassAsStringToShowP(static_cast<TBasicClass>(1)), "<N/A>");
  EXPECT_EQ(GetClassAsStringToShowP(static_cast<TBasicClass>(30)), "<N/A>");
  EXPECT_EQ(GetClassFormat(static_cast<TBasicClass>(0)), "<N/A>");  // no blank, no brackets
  EXPECT_EQ(GetClassFormat(static_cast<TBasicClass>(-5)), "<N/A>");
  EXPECT_EQ(GetClassFormat(bcAuxiliaryObject), " [Objetos auxiliares]");
  EXPECT_EQ(GetClassAsStringToShowP(bcAuxiliaryObject), "Objectos auxiliares");

  EXPECT_EQ(GetSubclassAsString(0), "Genérico");
  EXPECT_EQ(GetSubclassAsStringP(4), "Presencias");
  EXPECT_EQ(GetSubclassAsString(256), "<N/A>");  // all 16 bits count
  EXPECT_EQ(GetSubclassAsStringP(5), "<N/A>");
  EXPECT_EQ(GetSubclassAsString(-1), "<N/A>");

  EXPECT_EQ(GetUserTypesAsStr(11), "referencia");
  EXPECT_EQ(GetUserTypesAsStr(16), "referencia");
  EXPECT_EQ(GetUserTypesAsStr(24), "color");
  EXPECT_EQ(GetUserTypesAsStr(256 + 24), "color");
  EXPECT_EQ(GetUserTypesAsStr(25), "<N/A>");
  EXPECT_EQ(GetUserTypesAsStr(-1), "<N/A>");

  EXPECT_EQ(GetIncidenceTypeAsStr(0), "<N/A>");
  EXPECT_EQ(GetIncidenceTypeAsStr(1), "Libre");
  EXPECT_EQ(GetIncidenceTypeAsStr(12), "Aumento jornada");
  EXPECT_EQ(GetIncidenceTypeAsStr(13), "<N/A>");
  EXPECT_EQ(GetIncidenceTypeAsStr(256 + 11), "Reducción Jornada");

  EXPECT_EQ(GetGroupModeStr(static_cast<TTimesGroup>(0)), "diario");
  EXPECT_EQ(GetGroupModeStr(tgDay), "diario");
  EXPECT_EQ(GetGroupModeStr(tgQuarter), "Trimestral");
  EXPECT_EQ(GetGroupModeStr(static_cast<TTimesGroup>(9)), "diario");
  EXPECT_EQ(GetGroupModeStr(static_cast<TTimesGroup>(-1)), "diario");

  EXPECT_EQ(GetRestTypeAsStr(0), "Contrato");
  EXPECT_EQ(GetRestTypeAsStr(7), "Aumento j.");
  EXPECT_EQ(GetRestTypeAsStr(8), "<N/A>");
  EXPECT_EQ(GetRestTypeAsStr(256 + 3), "Baja");

  EXPECT_EQ(GetPrecisionStr(0), "1 hora");
  EXPECT_EQ(GetPrecisionStr(1), "30 minutos");
  EXPECT_EQ(GetPrecisionStr(3), "5 minutos");
  EXPECT_EQ(GetPrecisionStr(4), "1 hora");
  EXPECT_EQ(GetPrecisionStr(257), "1 hora");  // all 16 bits count

  EXPECT_EQ(GetDayStr(0), "Lunes");
  EXPECT_EQ(GetDayStr(5), "Sábado");
  EXPECT_EQ(GetDayStr(6), "Domingo");
  EXPECT_EQ(GetDayStr(7), "Domingo");
  EXPECT_EQ(GetDayStr(-1), "Domingo");
  EXPECT_EQ(GetDayStr(8), "Lunes");
  EXPECT_EQ(GetDayStr(9), "Martes");
  EXPECT_EQ(GetDayStr(257), "Martes");

  EXPECT_EQ(GetActivityStr(0), "Inactivo");
  EXPECT_EQ(GetActivityStr(1), "Activo");
  EXPECT_EQ(GetActivityStr(2), "Eliminado");
  EXPECT_EQ(GetActivityStr(-1), "Eliminado");
  EXPECT_EQ(GetActivityStr(256), "Eliminado");
  EXPECT_EQ(GetBooleanAsStr(0), "No");
  EXPECT_EQ(GetBooleanAsStr(-1), "Sí");
  EXPECT_EQ(GetBooleanAsStr(256), "Sí");
}

// One label call and whether a dictionary may replace what it gives.
struct Row {
  std::string Name;
  std::function<AnsiString()> Call;
  bool Translated;
};

std::vector<Row> AllRows() {
  std::vector<Row> rows;
  auto add = [&rows](std::string name, int value, std::function<AnsiString()> call, bool t) {
    rows.push_back({name + "(" + std::to_string(value) + ")", std::move(call), t});
  };
  // The marks of the singular, plural and format forms of classes 2 to 29.
  const std::string singular = "T..T.T..T.TTT......TT..TTTTT";
  const std::string plural = ".....T..T.TTT......T....TTTT";
  const std::string format = "..........T............TTTTT";
  for (short v = 2; v <= 29; ++v) {
    const auto e = static_cast<TBasicClass>(v);
    const size_t i = static_cast<size_t>(v - 2);
    add(
        "GetClassAsString", v, [v] { return GetClassAsString(v); }, false);
    add(
        "GetClassAsStringToShow", v, [v] { return GetClassAsStringToShow(v); }, singular[i] == 'T');
    add(
        "GetClassAsStringToShowP", v, [e] { return GetClassAsStringToShowP(e); }, plural[i] == 'T');
    add(
        "GetClassFormat", v, [e] { return GetClassFormat(e); }, format[i] == 'T');
  }
  for (short v = 0; v <= 4; ++v) {
    add(
        "GetSubclassAsString", v, [v] { return GetSubclassAsString(v); }, true);
    add(
        "GetSubclassAsStringP", v, [v] { return GetSubclassAsStringP(v); }, true);
  }
  for (short v = 0; v <= 24; ++v) {
    add(
        "GetUserTypesAsStr", v, [v] { return GetUserTypesAsStr(v); }, false);
  }
  for (short v = 1; v <= 12; ++v) {
    add(
        "GetIncidenceTypeAsStr", v, [v] { return GetIncidenceTypeAsStr(v); }, true);
  }
  for (int v = 0; v <= 6; ++v) {
    add(
        "GetGroupModeStr", v, [v] { return GetGroupModeStr(static_cast<TTimesGroup>(v)); }, true);
  }
  for (short v = 0; v <= 7; ++v) {
    add(
        "GetRestTypeAsStr", v, [v] { return GetRestTypeAsStr(v); }, true);
  }
  for (short v = 0; v <= 3; ++v)
    add(
        "GetPrecisionStr", v, [v] { return GetPrecisionStr(v); }, true);
  for (short v = 0; v <= 6; ++v)
    add(
        "GetDayStr", v, [v] { return GetDayStr(v); }, true);
  for (short v = 0; v <= 2; ++v)
    add(
        "GetActivityStr", v, [v] { return GetActivityStr(v); }, false);
  for (short v = 0; v <= 1; ++v)
    add(
        "GetBooleanAsStr", v, [v] { return GetBooleanAsStr(v); }, false);
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
  std::string pattern = ::testing::TempDir() + "/labels-XXXXXX";
  const std::string folder = ::mkdtemp(pattern.data());
  {
    std::ofstream dictionary(folder + "/trans.ini.dic", std::ios::binary);
    dictionary << "<N/A>\tNOT AVAILABLE\r\n";
    for (const std::string& literal : literals) {
      dictionary << literal << '\t' << English(literal) << "\r\n";
    }
    std::ofstream(folder + "/trans.ini") << "[Localization]\nDictionary=.dic\n";
  }
  bTransActivated = true;
  InitTRANS(folder + "/trans.ini");
  ASSERT_NE(_Translate, nullptr);
  ASSERT_EQ(_Translate->Loaded, 1);

  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].Call(), rows[i].Translated ? English(literals[i]) : literals[i])
        << rows[i].Name;
  }
  EXPECT_EQ(GetClassAsStringToShow(2), "EN UNIDAD FÍSICA");
  EXPECT_EQ(GetClassAsStringToShow(3), "Familia Unidades");
  EXPECT_EQ(GetClassFormat(bcPost), "EN  [PLAZAS]");
  EXPECT_EQ(GetClassFormat(bcEmployee), " [Empleados]");
  EXPECT_EQ(GetClassAsStringToShowP(bcEmployee), "EN EMPLEADOS");
  // Fallbacks are never translated.
  EXPECT_EQ(GetClassAsStringToShow(1), "<N/A>");
  EXPECT_EQ(GetClassFormat(static_cast<TBasicClass>(30)), "<N/A>");
  EXPECT_EQ(GetIncidenceTypeAsStr(13), "<N/A>");
  EXPECT_EQ(GetSubclassAsString(9), "<N/A>");
  EXPECT_EQ(GetRestTypeAsStr(-3), "<N/A>");
  // Out-of-range days and periods still go through the dictionary.
  EXPECT_EQ(GetGroupModeStr(static_cast<TTimesGroup>(9)), "EN DIARIO");
  EXPECT_EQ(GetDayStr(-4), "EN DOMINGO");
  EXPECT_FALSE(_Translate->Modified);

  EndTRANS();
  bTransActivated = false;
  std::filesystem::remove_all(folder);
}

}  // namespace
