#include "cuadrante/vocabulary/basicdefines.h"

#include <array>
#include <cstdint>

#include "cuadrante/services/translate.h"

namespace cuadrante::detail {
namespace {

// One label and whether it goes through the dictionary. The mark belongs to
// each row: rows of one table differ.
struct Label {
  const char* Text;
  bool Translated;
};

constexpr const char* kNotAvailable = "<N/A>";

AnsiString Show(const Label& label) {
  return label.Translated ? Transport::Translate(label.Text) : AnsiString(label.Text);
}

// The tables that take a `short` read either its low byte as a signed number
// (so 258 is 2) or all of it.
int LowByte(short value) { return static_cast<int8_t>(value); }

template <size_t N>
AnsiString FromTable(const std::array<Label, N>& table, int index, int first = 0) {
  if (index < first || index >= first + static_cast<int>(N)) return kNotAvailable;
  return Show(table[static_cast<size_t>(index - first)]);
}

// The four forms of each class, from the first class (2) on.
struct ClassLabels {
  const char* Internal;
  Label Singular;
  Label Plural;
  Label Format;
};

constexpr int kFirstClass = 2;
constexpr std::array<ClassLabels, 28> kClasses{{
    {"UnidadFisica",
     {"Unidad Física", true},
     {"Unidades Físicas", false},
     {" [Unidades Físicas]", false}},
    {"FamiliaUnidades",
     {"Familia Unidades", false},
     {"Familias de Unidades", false},
     {" [Familias de Unidades]", false}},
    {"Propiedad", {"Propiedad", false}, {"Propiedades", false}, {" [Propiedades]", false}},
    {"Clasificacion",
     {"Nodo Clasificación", true},
     {"Clasificaciones", false},
     {" [Clasificaciones]", false}},
    {"Clasificado", {"Clasificado", false}, {"Clasificados", false}, {" [Clasificados]", false}},
    {"Calendario", {"Calendario", true}, {"Calendarios", true}, {" [Calendarios]", false}},
    {"PuntoTiempo", {"Punto-tiempo", false}, {"Puntos-tiempo", false}, {" [Puntos-tiempo]", false}},
    {"PuntoTiempoCiclo",
     {"Punto-tiempo-ciclo", false},
     {"Puntos-tiempo-ciclos", false},
     {" [Puntos-tiempo-ciclos]", false}},
    {"Incidencia", {"Incidencia", true}, {"Incidencias", true}, {" [Incidencias]", false}},
    {"ObjetoAuxiliar",
     {"Objeto auxiliar", false},
     {"Objectos auxiliares", false},
     {" [Objetos auxiliares]", false}},
    {"Plaza", {"Plaza", true}, {"Plazas", true}, {" [Plazas]", true}},
    {"Usuario", {"Usuario", true}, {"Usuarios", true}, {" [Usuarios]", false}},
    {"Empleado", {"Empleado", true}, {"Empleados", true}, {" [Empleados]", false}},
    {"Periodo", {"Período", false}, {"Períodos", false}, {" [Períodos]", false}},
    {"PeriodoCiclo",
     {"Período cíclico", false},
     {"Períodos cíclicos", false},
     {" [Períodos cíclicos]", false}},
    {"Disponibilidad",
     {"Disponibilidad", false},
     {"Disponibilidad", false},
     {" [Disponibilidades]", false}},
    {"Horarios", {"Horario", false}, {"Horarios", false}, {" [Horarios]", false}},
    {"Restriccion", {"Restricció", false}, {"Restricciones", false}, {" [Restricciones]", false}},
    {"RestriccionHoras",
     {"Restricción/Horas", false},
     {"Restriccione de horas", false},
     {" [Restricciones de Horas]", false}},
    {"Plan", {"Plan", true}, {"Planes", true}, {" [Planes]", false}},
    {"Algoritmo", {"Algoritmo", true}, {"Algoritmos", false}, {" [Algoritmos]", false}},
    {"TareaPlan", {"Tarea/Plan", false}, {"Tareas Plan", false}, {" [Tareas Plan]", false}},
    {"ObjectPlan", {"Objeto/Plan", false}, {"Objetos Plan", false}, {" [Objetos Plan]", false}},
    {"ParametrosAlgoritmo",
     {"Parámetros Algoritmo", true},
     {"Parámetros Algoritmo", false},
     {" [Parámetros Algoritmo]", true}},
    {"Progreso", {"Progreso", true}, {"Progresos", true}, {" [Progreso]", true}},
    {"Estructura", {"Estructura", true}, {"Estructuras", true}, {" [Estructura]", true}},
    {"Presencia", {"Presencia", true}, {"Presencias", true}, {" [Presencia]", true}},
    {"Retraso", {"Retraso", true}, {"Retrasos", true}, {" [Retrasos]", true}},
}};

const ClassLabels* FindClass(int value) {
  if (value < kFirstClass || value >= kFirstClass + static_cast<int>(kClasses.size())) {
    return nullptr;
  }
  return &kClasses[static_cast<size_t>(value - kFirstClass)];
}

constexpr std::array<Label, 5> kSubclasses{{
    {"Genérico", true},
    {"Profesiones", true},
    {"Tarea", true},
    {"Turnos", true},
    {"Presencia", true},
}};

constexpr std::array<Label, 5> kSubclassesPlural{{
    {"Genéricos", true},
    {"Profesiones", true},
    {"Tareas", true},
    {"Turnos", true},
    {"Presencias", true},
}};

constexpr std::array<Label, 25> kUserTypes{{
    {"boolean", false},
    {"short", false},
    {"enumerado", false},
    {"integer", false},
    {"long", false},
    {"double", false},
    {"moneda", false},
    {"fecha y hora", false},
    {"fecha", false},
    {"hora", false},
    {"duración", false},
    {"referencia", false},
    {"referencia multiple", false},
    {"nodo clasificación", false},
    {"string", false},
    {"string-memo", false},
    {"referencia", false},
    {"propiedad-compleja", false},
    {"propiedad-física", false},
    {"Fecha", false},
    {"SmartID", false},
    {"lista de ID's", false},
    {"lista doubles", false},
    {"lista strings", false},
    {"color", false},
}};

// Time point types 1 to 12; 0 and 13 have no label.
constexpr std::array<Label, 12> kIncidenceTypes{{
    {"Libre", true},
    {"Horario", true},
    {"Tarea", true},
    {"Festivo", true},
    {"Festivo laboral", true},
    {"Incidencia", true},
    {"Baja laboral", true},
    {"Cobertura", true},
    {"Vacaciones", true},
    {"Cambio plaza", true},
    {"Reducción Jornada", true},
    {"Aumento jornada", true},
}};

// Periods 0 to 6; 0 and 1 are both a day.
constexpr std::array<Label, 7> kGroupModes{{
    {"diario", true},
    {"diario", true},
    {"Semanal", true},
    {"Mensual", true},
    {"Anual", true},
    {"Quincenal", true},
    {"Trimestral", true},
}};

constexpr std::array<Label, 8> kRestTypes{{
    {"Contrato", true},
    {"Pacto", true},
    {"Reducción", true},
    {"Baja", true},
    {"Vacaciones", true},
    {"Cambio plaza", true},
    {"Cobertura", true},
    {"Aumento j.", true},
}};

// Precisions 1 to 3; every other value is the hour.
constexpr std::array<Label, 3> kPrecisions{{
    {"30 minutos", true},
    {"15 minutos", true},
    {"5 minutos", true},
}};
constexpr Label kHourPrecision{"1 hora", true};

// Monday is 0; 6, 7 and every negative value are Sunday.
constexpr std::array<Label, 7> kDays{{
    {"Lunes", true},
    {"Martes", true},
    {"Miércoles", true},
    {"Jueves", true},
    {"Viernes", true},
    {"Sábado", true},
    {"Domingo", true},
}};

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

AnsiString GetClassAsString(short value) {
  const ClassLabels* labels = FindClass(LowByte(value));
  return labels == nullptr ? kNotAvailable : labels->Internal;
}

AnsiString GetClassAsStringToShow(short value) {
  const ClassLabels* labels = FindClass(LowByte(value));
  return labels == nullptr ? AnsiString(kNotAvailable) : Show(labels->Singular);
}

AnsiString GetClassAsStringToShowP(TBasicClass value) {
  const ClassLabels* labels = FindClass(value);
  return labels == nullptr ? AnsiString(kNotAvailable) : Show(labels->Plural);
}

AnsiString GetClassFormat(TBasicClass value) {
  const ClassLabels* labels = FindClass(value);
  return labels == nullptr ? AnsiString(kNotAvailable) : Show(labels->Format);
}

AnsiString GetSubclassAsString(short value) { return FromTable(kSubclasses, value); }

AnsiString GetSubclassAsStringP(short value) { return FromTable(kSubclassesPlural, value); }

AnsiString GetActivityStr(short value) {
  if (value == 0) return "Inactivo";
  if (value == 1) return "Activo";
  return "Eliminado";
}

AnsiString GetBooleanAsStr(short value) { return value == 0 ? "No" : "Sí"; }

AnsiString GetUserTypesAsStr(short value) { return FromTable(kUserTypes, LowByte(value)); }

AnsiString GetIncidenceTypeAsStr(short value) {
  return FromTable(kIncidenceTypes, LowByte(value), 1);
}

AnsiString GetGroupModeStr(TTimesGroup value) {
  // This table has no "<N/A>": anything unknown is a day.
  if (value < 0 || value >= static_cast<int>(kGroupModes.size())) return Show(kGroupModes[0]);
  return Show(kGroupModes[static_cast<size_t>(value)]);
}

AnsiString GetRestTypeAsStr(short value) { return FromTable(kRestTypes, LowByte(value)); }

AnsiString GetPrecisionStr(short value) {
  if (value >= 1 && value <= 3) return Show(kPrecisions[static_cast<size_t>(value - 1)]);
  return Show(kHourPrecision);
}

AnsiString GetDayStr(short value) {
  // The week has no day above 7; such a value folds to its remainder by 2, so
  // it reads as Monday or Tuesday rather than failing.
  if (value > 7) value = static_cast<short>(value % 2);
  if (value < 0 || value >= 6) return Show(kDays[6]);
  return Show(kDays[static_cast<size_t>(value)]);
}
