// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check_html.h"

#include <set>

#include "tools/orx/chain/certificate.h"
#include "tools/orx/check/judge.h"

namespace orx_tool {
namespace {

constexpr char kStyle[] =
#include "tools/orx/check/check_html_style.inc"
    ;

// The page itself forbids what it does not need.
constexpr char kHead[] =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta http-equiv=\"Content-Security-Policy\" "
    "content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";

// Element puts text that may come from the device into an element.
std::string Element(const std::string& name, const std::string& style, const std::string& text) {
  const std::string attribute = style.empty() ? "" : " class=\"" + style + "\"";
  return "<" + name + attribute + ">" + XmlText(text) + "</" + name + ">";
}

std::string Paragraph(const std::string& label, const std::string& text) {
  return "<p>" + Element("span", "faint", label) + " " + XmlText(text) + "</p>\n";
}

std::string StyleOf(Verdict verdict) {
  return verdict == Verdict::kNotApplicable ? "NA" : VerdictName(verdict);
}

std::string HeadOf(const CheckReport& report, const Json::Value& envelope) {
  const CheckResult* worst = WorstResult(report.results);
  const Verdict verdict = worst != nullptr ? worst->verdict : Verdict::kInterrupted;
  const std::string model = envelope["device_model"].asString();
  std::string html = "<div class=\"head " + StyleOf(verdict) + "\">\n<h1>" +
                     XmlText(VerdictName(verdict)) + "</h1>\n";
  html += Element("p", "", model.empty() ? "device of unknown model" : model) + "\n";
  html += Element("p", "faint",
                  envelope["time"].asString() + ", orx " + envelope["command"].asString() + ", " +
                      envelope["tool_version"].asString() + ", exit code " +
                      envelope["exit_code"].asString());
  for (const std::string& line : SummaryLines(report)) html += Element("p", "", line) + "\n";
  return html + "</div>\n";
}

std::string TableOf(const CheckReport& report) {
  std::string html =
      "<h2>Checks</h2>\n<table>\n<tr><th>check</th><th>instance</th><th>verdict</th>"
      "<th class=\"number\">seconds</th><th>code</th></tr>\n";
  for (const CheckResult& result : report.results) {
    html += "<tr>" + Element("td", "", result.name) + Element("td", "", result.instance) +
            Element("td", "verdict " + StyleOf(result.verdict), VerdictName(result.verdict)) +
            Element("td", "number", SecondsOf(result.seconds)) +
            Element("td", "", CodeText(result)) + "</tr>\n";
  }
  for (const Check& check : report.not_run) {
    html += "<tr>" + Element("td", "", check.name) + Element("td", "", check.instance) +
            "<td class=\"faint\" colspan=\"3\">not run</td></tr>\n";
  }
  return html + "</table>\n";
}

std::string ReasonOf(const CheckResult& result) {
  std::string html = "<article>\n<h3>" +
                     Element("span", StyleOf(result.verdict), VerdictName(result.verdict)) + " " +
                     XmlText(result.full_name() + " ") + Element("code", "", result.code) +
                     "</h3>\n" + Paragraph("reason", result.cause);
  if (!result.message.empty()) {
    html += "<p>" + Element("span", "faint", "library") + " " +
            Element("code", "", result.message) + "</p>\n";
  }
  if (result.runs) html += Paragraph("runs", RunsText(*result.runs));
  for (const std::string& advice : result.advice) html += Paragraph("next", advice);
  return html + "</article>\n";
}

std::string ReasonsOf(const CheckReport& report) {
  std::string html;
  for (const CheckResult& result : report.results) {
    if (result.verdict == Verdict::kPass || result.verdict == Verdict::kNotApplicable) continue;
    html += ReasonOf(result);
  }
  return html.empty() ? "" : "<h2>What failed, and what to do</h2>\n" + html;
}

std::string NotesOf(const CheckReport& report) {
  std::string html;
  for (const std::string& line : NoteLines(report.results)) {
    html += Element("li", "", line.substr(sizeof("note: ") - 1)) + "\n";
  }
  return html.empty() ? "" : "<h2>Notes</h2>\n<ul>\n" + html + "</ul>\n";
}

// CertificateBox draws one certificate; `fault` is what is wrong with itself, may be empty.
std::string CertificateBox(size_t index, const std::vector<uint8_t>& der,
                           const std::string& fault) {
  const auto certificate = orx_common::ParseCertificate(der);
  std::string html = "<div class=\"certificate" + std::string(fault.empty() ? "" : " bad") +
                     "\">\n" + Element("span", "faint", "certificate " + std::to_string(index)) +
                     "\n";
  if (certificate != nullptr) {
    const Json::Value told = DescribeCertificate(certificate.get());
    html += Element("p", "", told["subject"].asString()) +
            Element("p", "faint",
                    told["key"].asString() + ", " + told["not_before"].asString() + " to " +
                        told["not_after"].asString());
  }
  if (!fault.empty()) html += Element("p", "FAIL", fault);
  return html + "</div>\n";
}

// Between two certificates, or below the last, which signs itself.
bool IsOfLink(const ChainFault& fault) {
  return fault.code == "ATTEST-CHAIN-SIGNATURE" || fault.code == "ATTEST-CHAIN-NAMES";
}

std::string TextOf(const std::vector<ChainFault>& faults, size_t index, bool of_link) {
  std::string text;
  for (const ChainFault& fault : faults) {
    if (fault.certificate != index || IsOfLink(fault) != of_link) continue;
    text += (text.empty() ? "" : "; ") + fault.text;
  }
  return text;
}

bool FailedByChain(const CheckResult& result) {
  return result.code.rfind("ATTEST-CHAIN", 0) == 0 || result.code == "ATTEST-ROOT" ||
         result.code == "ATTEST-LEAF-SUBJECT";
}

std::string ChainOf(const CheckResult& result) {
  const CertificateChain& chain = result.seen->capture.attestation_key.chain;
  std::vector<ChainFault> faults;
  // What a relaxed check accepted is no fault.
  for (const ChainFault& fault : ChainFaults(chain)) {
    if (FailedByChain(result) || !fault.strict_only) faults.push_back(fault);
  }
  std::string html = Element("h2", "", "Attestation chain of " + result.full_name()) +
                     "\n<p class=\"faint\">Of an attestation key that was made once more after "
                     "the check.</p>\n<div class=\"chain\">\n";
  for (size_t i = 0; i < chain.size(); ++i) {
    html += CertificateBox(i, chain[i], TextOf(faults, i, false));
    const std::string fault = TextOf(faults, i, true);
    const std::string by = i + 1 == chain.size() ? "signed by itself: the root" : "signed by";
    html += Element("p", fault.empty() ? "link" : "link bad", fault.empty() ? by : fault) + "\n";
  }
  return html + "</div>\n";
}

// One chain an instance: that of a check that failed by it, else the first.
std::string ChainsOf(const CheckReport& report) {
  std::string html;
  for (const char* instance : {"default", "strongbox"}) {
    const CheckResult* shown = nullptr;
    for (const CheckResult& result : report.results) {
      const bool drawn = result.instance == instance && result.seen != nullptr &&
                         !result.seen->capture.attestation_key.chain.empty();
      const bool better = shown == nullptr || (FailedByChain(result) && !FailedByChain(*shown));
      if (drawn && better) shown = &result;
    }
    if (shown != nullptr) html += ChainOf(*shown);
  }
  return html;
}

}  // namespace

std::string HtmlReport(const CheckReport& report, const Json::Value& envelope) {
  return kHead + Element("title", "", "orx " + envelope["command"].asString()) + "\n<style>" +
         kStyle + "</style>\n</head>\n<body>\n" + HeadOf(report, envelope) + ReasonsOf(report) +
         TableOf(report) + ChainsOf(report) + NotesOf(report) + "</body>\n</html>\n";
}

}  // namespace orx_tool
