#pragma once
// The commands of ferroctl. Each returns the process exit code.

#include "CliOptions.h"

#include "data/RecordingList.h"
#include "link/DeviceSession.h"
#include "para/XMLLangu.h"

#include <memory>

namespace ferroctl {

// Opens a session as the options say, with the terminal answering questions. Null on failure
// (the German message is printed).
std::unique_ptr<ferro::TDeviceSession> OpenSession(const CliOptions& opt, bool makeFolders);
// Questions on the terminal (--yes accepts a new host key), messages to stderr.
ferro::TDisplayConnMessage TerminalPresenter(bool yes);
// A yes/no question on stderr, the answer from stdin ("j" or "y" is yes).
bool AskTerminal(const std::string& question);
// " <reason>" of the session's last failure, or "".
std::string LastReason(const ferro::TDeviceSession& session);

int RunIdentify(const CliOptions& opt);
int RunCommands(const CliOptions& opt);
int RunLua(const CliOptions& opt);
int RunSetupGet(const CliOptions& opt);
int RunSetupPut(const CliOptions& opt);
// Sends a setup file (removed afterwards, with its packed copies), waits for the acknowledgement
// and closes the session; 0 when the instrument confirmed it.
int SendSetup(ferro::TDeviceSession& session, const std::string& file);
int RunList(const CliOptions& opt);
// The instrument's listing of recordings or events; false when it did not come.
bool FetchListing(ferro::TDeviceSession& session, bool events, std::vector<ferro::TListingEntry>& out);
// Waits while a file keeps arriving (a minute without progress ends it); true when `done` was set.
bool WaitForDownload(ferro::TDeviceSession& session, const bool& done, uint64_t expected, int64_t deadlineMs,
                     uint64_t& seen);
// Takes `--deadline SECONDS` out of `args` (0: not given); false with the message printed when
// the value is no whole number of seconds from 1 to 86400.
bool TakeDeadline(std::vector<std::string>& args, long& seconds);
// After --deadline ran out on `name`: gives the request up, closes the line (a line that still
// drips is not waited for) and tells how far the file came; `have` bytes were there before.
void GiveUpAfterDeadline(ferro::TDeviceSession& session, const std::string& name, long seconds, uint64_t have,
                         uint64_t seen, uint64_t size);
// Every new or grown file of one or many instruments into --data-dir.
int RunSync(const CliOptions& opt);
int RunGet(const CliOptions& opt);
int RunStream(const CliOptions& opt);
// Local files; no session.
int RunShow(const CliOptions& opt);
// The setup's rows, from the instrument or --setup; values set through the grid's validator.
int RunParams(const CliOptions& opt);
int RunParamSet(const CliOptions& opt);
// The language file for names: --lang, else the German one in the ini folder.
ferro::TXMLLangu LoadLang(const CliOptions& opt);
int RunExport(const CliOptions& opt);
// The EN 50160 report of a 10-minute recording (and its events) as PDF.
int RunReport(const CliOptions& opt);
// Firmware update of one or many instruments; 0 only when every one came back with the new firmware.
int RunFlash(const CliOptions& opt);
// Two setup files compared as the parameter form's import does (exit 1 when they differ, as diff
// does); the delta document of their differences; the CSV listing of one.
int RunSetupDiff(const CliOptions& opt);
int RunSetupDelta(const CliOptions& opt);
int RunSetupCsv(const CliOptions& opt);
// The status report as text or JSON; captures on the instrument.
int RunStatus(const CliOptions& opt);
int RunPcap(const CliOptions& opt);

} // namespace ferroctl
