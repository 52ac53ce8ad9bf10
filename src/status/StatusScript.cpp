#include "status/StatusScript.h"

#include "foundation/Format.h"

#include <filesystem>
#include <fstream>

namespace ferro {

std::string StatusScript() {
    static const char* const lines[] = {
        "local function prntStat(offset, story, out)",
        "   if out then stat = io.open(out, \"w\") end",
        "   assert(stat, \"could not open/create output-file\")",
        "   for n,v in pairs(story) do",
        "      if type(v) == \"table\" then prntStat(offset..n..\".\", v, nil)",
        "      elseif n~=\"__name\" then stat:write(string.format(\"%-35s\", offset..n ), story[n], "
        "\"\\r\\n\")",
        "      end",
        "   end",
        "   if out then stat:close() end",
        "end",
        "function main(name, ...)",
        "   local arg = table.pack(...)",
        "   if arg[1] then path = arg[1] else path = \"/mnt/flashdrive0/data/ccci/scratchpad\" end",
        "   if uti.stat then",
        "      uti.mute()",
        "      local cwd = fs.pwd() -- store the current pwd",
        "      if arg[2] then ",
        "         -- check if stat folder exists, and create it, if not",
        "         -- get the system status",
        "         prntStat(\"\", uti.stat(), path..\"/stat/stat.txt\")",
        "         -- get the logd.log",
        "         log.getLog(path..\"/stat/logd.log\")",
        "         -- geht the configuration",
        "         cfg.rd_all(path..\"/stat/config.xml\")",
        "         -- pack all the data to an archive",
        "         uti.gzip(path..\"/stat\", path..\"/stat.tgz\")",
        "         -- remove the source folder",
        "         fs.rmdir(path..\"/stat\", \"-r\")",
        "      else ",
        "         prntStat(\"\", uti.stat(), path..\"/stat.txt\")",
        "      end",
        "      fs.cd(cwd) -- restore the cwd",
        "      uti.unmute()",
        "   else print(\"\\\"uti.stat()\\\"cmd is not available on this Firmware! STOP\")",
        "   end",
        "end",
        "main(name, ...)",
    };
    std::string text;
    for (const char* l : lines) {
        if (!text.empty()) text += "\r\n";
        text += l;
    }
    return text;
}

std::string StatusDofileLine() {
    return Fmt("dofile\"/mnt/flashdrive0/data/ccci/scratchpad/%s\" ", CStatusFN);
}

bool WriteStatusScript(const std::string& Path) {
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(Path).parent_path(), ec);
    std::ofstream f(Path, std::ios::binary | std::ios::trunc);
    const std::string text = StatusScript();
    f.write(text.data(), std::streamsize(text.size()));
    return bool(f.flush());
}

} // namespace ferro
