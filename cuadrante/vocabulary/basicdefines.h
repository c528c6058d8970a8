// The closed vocabularies of the scheduling domain and their labels.
//
// The numbers are what points, cycles and documents store and what hosts pass
// across the interface; the labels are what a person reads. Each label
// function is a table from a number to a fixed Spanish literal; some rows go
// through `Transport::Translate` so a dictionary can replace them, others are
// returned as they stand. Stateless: callable from any thread, as far as the
// translator allows.
#pragma once

#include <cstdint>

#include "cuadrante/runtime/sysutils.h"

// Kind of a time point. Point sets build flag sets over exactly 0..13.
enum TTimePointType : int8_t {
  tptNone = 0,
  tptFree = 1,            // "Libre"
  tptTimetable = 2,       // "Horario"
  tptTask = 3,            // "Tarea"
  tptHoliday = 4,         // "Festivo"
  tptWorkingHoliday = 5,  // "Festivo laboral"
  tptIncidence = 6,       // "Incidencia"
  tptSickLeave = 7,       // "Baja laboral"
  tptCover = 8,           // "Cobertura"
  tptLeave = 9,           // "Vacaciones"
  tptChangeOfPost = 10,   // "Cambio plaza"
  tptReducedDay = 11,     // "Reducción Jornada"
  tptExtendedDay = 12,    // "Aumento jornada"
  tptLast = 13,           // end of the range: a colour and a flag, no label
};
constexpr int kTimePointTypeCount = 14;

// Period of a grid, a cycle or a period list. 0 and 1 both mean a day.
enum TTimesGroup : int8_t {
  tgNone = 0,
  tgDay = 1,
  tgWeek = 2,
  tgMonth = 3,
  tgYear = 4,
  tgFortnight = 5,
  tgQuarter = 6,
};

// Class of a domain object of the host's object model, 2 to 29.
enum TBasicClass : int8_t {
  bcPhysicalUnit = 2,
  bcUnitFamily = 3,
  bcProperty = 4,
  bcClassification = 5,
  bcClassified = 6,
  bcCalendar = 7,
  bcTimePoint = 8,
  bcCycleTimePoint = 9,
  bcIncidence = 10,
  bcAuxiliaryObject = 11,
  bcPost = 12,
  bcUser = 13,
  bcEmployee = 14,
  bcPeriod = 15,
  bcCyclePeriod = 16,
  bcAvailability = 17,
  bcTimetables = 18,
  bcRestriction = 19,
  bcHoursRestriction = 20,
  bcPlan = 21,
  bcAlgorithm = 22,
  bcPlanTask = 23,
  bcPlanObject = 24,
  bcAlgorithmParameters = 25,
  bcProgress = 26,
  bcStructure = 27,
  bcPresence = 28,
  bcDelay = 29,
};

// Kind of a TDuration. Only the default is used by the library; the others are
// stored and copied for the hosts.
enum TDurationType : uint8_t {
  dtDefault = 3,
};

// Labels. Where a function takes a `short`, the table says whether the low 8
// bits (258 reads as 2) or all 16 bits count.
CUADRANTE_API AnsiString GetClassAsString(short value);        // low 8 bits, never translated
CUADRANTE_API AnsiString GetClassAsStringToShow(short value);  // low 8 bits, singular
CUADRANTE_API AnsiString GetClassAsStringToShowP(TBasicClass value);  // plural
CUADRANTE_API AnsiString GetClassFormat(TBasicClass value);           // " [plural]"
CUADRANTE_API AnsiString GetSubclassAsString(short value);            // all 16 bits
CUADRANTE_API AnsiString GetSubclassAsStringP(short value);           // all 16 bits
CUADRANTE_API AnsiString GetActivityStr(short value);                 // all 16 bits
CUADRANTE_API AnsiString GetBooleanAsStr(short value);                // all 16 bits
CUADRANTE_API AnsiString GetUserTypesAsStr(short value);              // low 8 bits
CUADRANTE_API AnsiString GetIncidenceTypeAsStr(short value);          // low 8 bits
CUADRANTE_API AnsiString GetGroupModeStr(TTimesGroup value);
CUADRANTE_API AnsiString GetRestTypeAsStr(short value);  // low 8 bits
CUADRANTE_API AnsiString GetPrecisionStr(short value);   // all 16 bits
// Monday is 0, one below TFecha::DayOfWeek.
CUADRANTE_API AnsiString GetDayStr(short value);  // all 16 bits
