#pragma once
// The EN 50160 report as a PDF document: a cover with the plant and the period, one table per
// observation week, the dips and swells of the period, and the statistic charts drawn through the
// same canvas as on screen.

#include "report/ENEvaluation.h"

#include <functional>
#include <string>

namespace ferro {

// The title of a statistic page, as the view's actions name the family ("Statistik Harmonische").
std::string StatisticTitle(int Disp);

// Writes the report to `Path` (complete or not at all); false with a German reason.
// `Progress` (may be empty) hears each page as it is done.
bool WriteENReportPdf(const TENReport& Report, const std::string& Path, std::string& Error,
                      const std::function<void(int Page)>& Progress = {});

} // namespace ferro
