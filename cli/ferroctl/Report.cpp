// ferroctl report: the EN 50160 report of a 10-minute recording as PDF.
#include "Commands.h"

#include "report/ENEvaluation.h"
#include "report/ENReportPdf.h"

#include <cstdio>

namespace ferroctl {

int RunReport(const CliOptions& opt) {
    std::string file, pdf;
    std::vector<std::string> events;
    bool inEvents = false;
    for (size_t i = 0; i < opt.args.size(); ++i) {
        const std::string& a = opt.args[i];
        if (a == "--events") {
            inEvents = true;
        } else if (a == "--pdf") {
            inEvents = false;
            if (i + 1 >= opt.args.size()) {
                std::fprintf(stderr, "--pdf erwartet den Namen der PDF-Datei.\n");
                return 2;
            }
            pdf = opt.args[++i];
        } else if (inEvents) {
            events.push_back(a);
        } else if (file.empty()) {
            file = a;
        } else {
            std::fprintf(stderr, "Unerwartetes Argument: %s\n", a.c_str());
            return 2;
        }
    }
    if (file.empty() || pdf.empty()) {
        std::fprintf(stderr,
                     "Aufruf: ferroctl report DATEI [--events EREIGNISDATEI ...] --pdf AUSGABE.pdf\n");
        return 2;
    }
    ferro::TENReport report;
    std::string error;
    if (!ferro::BuildENReport(file, events, report, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    for (const std::string& r : report.EventFilesRefused)
        std::fprintf(stderr, "Ereignisdatei nicht gelesen: %s\n", r.c_str());
    int pages = 0;
    if (!ferro::WriteENReportPdf(report, pdf, error, [&](int p) { pages = p; })) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    const int weeks = int(report.Weeks.size());
    std::printf("Bericht %s geschrieben: %d Seiten, %d Größen, %d %s, %d Spannungseinbrüche\n", pdf.c_str(),
                pages, int(report.Rows.size()), weeks,
                weeks == 1 ? "Beobachtungswoche" : "Beobachtungswochen", report.Events.DipCount);
    return 0;
}

} // namespace ferroctl
