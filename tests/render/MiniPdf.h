// Small PDF files of vector shapes, optionally locked with a password nobody knows.
#ifndef TESTS_RENDER_MINIPDF_H_
#define TESTS_RENDER_MINIPDF_H_

#include <cstdio>
#include <string>
#include <vector>

namespace minipdf {

struct Page {
  double width = 612, height = 792;  // points
  std::string content;               // e.g. "0 0 0 rg 72 72 144 144 re f"
  int rotate = 0;
};

inline std::string Document(const std::vector<Page> &pages, bool locked = false) {
  std::vector<std::string> objects = {"<< /Type /Catalog /Pages 2 0 R >>"};  // object i + 1
  std::string kids;
  for (size_t i = 0; i < pages.size(); ++i) {
    const Page &p = pages[i];
    kids += std::to_string(3 + 2 * i) + " 0 R ";
    objects.push_back("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 " + std::to_string(p.width) +
                      " " + std::to_string(p.height) + "] /Rotate " + std::to_string(p.rotate) +
                      " /Contents " + std::to_string(4 + 2 * i) + " 0 R >>");
    objects.push_back("<< /Length " + std::to_string(p.content.size()) + " >>\nstream\n" +
                      p.content + "\nendstream");
  }
  objects.insert(objects.begin() + 1, "<< /Type /Pages /Kids [" + kids + "] /Count " +
                                          std::to_string(pages.size()) + " >>");
  std::string trailerExtra;
  if (locked) {
    // Standard security with hashes that no password produces: the file opens locked.
    const std::string junk(64, 'A');
    objects.push_back("<< /Filter /Standard /V 1 /R 2 /Length 40 /P -4 /O <" + junk + "> /U <" +
                      junk + "> >>");
    trailerExtra =
        " /Encrypt " + std::to_string(objects.size()) +
        " 0 R /ID [<00112233445566778899AABBCCDDEEFF> <00112233445566778899AABBCCDDEEFF>]";
  }
  std::string out = "%PDF-1.4\n";
  std::vector<size_t> offsets;
  for (size_t i = 0; i < objects.size(); ++i) {
    offsets.push_back(out.size());
    out += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const size_t xref = out.size();
  out += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
  for (size_t offset : offsets) {
    char line[21];
    std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
    out += line;
  }
  out += "trailer\n<< /Size " + std::to_string(objects.size() + 1) + " /Root 1 0 R" + trailerExtra +
         " >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
  return out;
}

}  // namespace minipdf

#endif  // TESTS_RENDER_MINIPDF_H_
