#include "simulation/shrink/replay.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace simulation {
namespace {

constexpr char kHead[] = "# One run of a world on the simulated machine; again with simulate --replay=FILE\n";

bool ReadNumber(const std::string& strText, std::uint64_t& nValue) {
    char* pEnd = nullptr;
    nValue = std::strtoull(strText.c_str(), &pEnd, 10);
    return !strText.empty() && *pEnd == '\0';
}

bool ReadNumber(const std::string& strText, std::optional<std::uint64_t>& value) {
    std::uint64_t nValue = 0;
    if (!ReadNumber(strText, nValue)) {
        return false;
    }
    value = nValue;
    return true;
}

bool ReadChoice(ChoiceKind kind, const std::string& strRest, Choices& choices) {
    std::istringstream words(strRest);
    Choice choice{kind, {}, 0, {}};
    if (!(words >> choice.strThread >> choice.nAt)) {
        return false;
    }
    words >> choice.strValue;
    choices.push_back(std::move(choice));
    return true;
}

bool ReadLine(const std::string& strWord, const std::string& strRest, Replay& replay) {
    ChoiceKind kind{};
    if (KindOf(strWord, kind)) {
        return ReadChoice(kind, strRest, replay.choices);
    }
    if (strWord == "world") {
        replay.strWorld = strRest;
    } else if (strWord == "seed") {
        return ReadNumber(strRest, replay.nSeed);
    } else if (strWord == "schedule") {
        return ReadNumber(strRest, replay.nSchedule);
    } else if (strWord == "faults") {
        return ReadNumber(strRest, replay.nFaults);
    } else if (strWord == "edges") {
        return ReadNumber(strRest, replay.nEdges);
    } else if (strWord == "memory") {
        return ReadNumber(strRest, replay.memory);
    } else if (strWord == "allocation") {
        return ReadNumber(strRest, replay.nAllocation);
    } else if (strWord == "for-good") {
        replay.bForGood = strRest == "yes";
    } else if (strWord == "draws") {
        replay.bDraws = strRest == "yes";
    } else if (strWord == "off") {
        replay.off.insert(strRest);
    } else if (strWord == "on") {
        replay.parts.push_back(strRest);
    } else if (strWord == "report") {
        replay.strReport = strRest;
    } else {
        return false;
    }
    return true;
}

// Numbers differ from run to run, and say nothing about the cause.
std::string WithoutNumbers(const std::string& strText) {
    std::string strResult;
    for (std::size_t i = 0; i < strText.size();) {
        if (strText[i] < '0' || strText[i] > '9') {
            strResult += strText[i++];
            continue;
        }
        strResult += '#';
        while (i < strText.size() && std::isxdigit(static_cast<unsigned char>(strText[i])) != 0) {
            ++i;
        }
        if (i < strText.size() && strText[i] == 'x') {
            ++i;
            while (i < strText.size() && std::isxdigit(static_cast<unsigned char>(strText[i])) != 0) {
                ++i;
            }
        }
    }
    return strResult;
}

// "heap-use-after-free +0x12": the name and the mark of the program are left out.
std::string WithoutProgram(std::string strText) {
    const std::size_t nOpen = strText.find('(');
    const std::size_t nPlace = strText.find("+0x", nOpen);
    if (nOpen != std::string::npos && nPlace != std::string::npos) {
        strText = strText.substr(0, nOpen) + strText.substr(nPlace, strText.find(')', nPlace) - nPlace);
    }
    return strText;
}

}  // namespace

std::string TextOf(const Replay& replay) {
    std::ostringstream text;
    text << kHead << "world " << replay.strWorld << "\nseed " << replay.nSeed << "\nschedule " << replay.nSchedule
         << "\ndraws " << (replay.bDraws ? "yes" : "no") << '\n';
    if (replay.nFaults) {
        text << "faults " << *replay.nFaults << '\n';
    }
    if (replay.nEdges) {
        text << "edges " << *replay.nEdges << '\n';
    }
    if (replay.memory) {
        text << "memory " << *replay.memory << '\n';
    }
    if (replay.nAllocation != 0) {
        text << "allocation " << replay.nAllocation << '\n';
    }
    if (replay.bForGood) {
        text << "for-good yes\n";
    }
    if (!replay.strReport.empty()) {
        text << "report " << replay.strReport << '\n';
    }
    for (const std::string& strPart : replay.off) {
        text << "off " << strPart << '\n';
    }
    for (const std::string& strPart : replay.parts) {
        text << "on " << strPart << '\n';
    }
    for (const Choice& choice : replay.choices) {
        text << NameOf(choice.kind) << ' ' << choice.strThread << ' ' << choice.nAt
             << (choice.strValue.empty() ? "" : " ") << choice.strValue << '\n';
    }
    return text.str();
}

std::optional<Replay> ReplayOf(const std::string& strText) {
    Replay replay;
    std::istringstream lines(strText);
    for (std::string strLine; std::getline(lines, strLine);) {
        if (strLine.empty() || strLine.front() == '#') {
            continue;
        }
        const std::size_t nBlank = strLine.find(' ');
        if (nBlank == std::string::npos || !ReadLine(strLine.substr(0, nBlank), strLine.substr(nBlank + 1), replay)) {
            return std::nullopt;
        }
    }
    return replay;
}

bool WriteReplay(const std::string& strFile, const Replay& replay) {
    std::ofstream file(strFile, std::ios::binary);
    file << TextOf(replay);
    return static_cast<bool>(file.flush());
}

std::optional<Replay> ReadReplay(const std::string& strFile) {
    std::ifstream file(strFile, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return file ? ReplayOf(text.str()) : std::nullopt;
}

std::string ReportOf(const std::string& strOutput) {
    std::string strReport;
    std::istringstream lines(strOutput);
    for (std::string strLine; std::getline(lines, strLine);) {
        if (strLine.starts_with("SUMMARY: ")) {
            // What a sanitizer tells of an access has the place of the code, which is the cause.
            const bool bPlace = strLine.find("Leak") == std::string::npos && strLine.find("leak") == std::string::npos;
            return bPlace ? WithoutProgram(strLine.substr(9)) : WithoutNumbers(strLine.substr(9));
        }
        if (strLine.starts_with("== ") && strLine.find(" steps, ") == std::string::npos) {
            strReport = WithoutNumbers(strLine.substr(3));
        }
    }
    return strReport;
}

}  // namespace simulation
