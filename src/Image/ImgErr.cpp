// The process-wide error registry.
#include "Image/ImgErr.h"

ImgErr CImgErr::sm_errcode = IMG_OK;
uint32_t CImgErr::sm_errtotal = 0;

CImgErr::CImgErr() {}
CImgErr::~CImgErr() {}
CImgErr &CImgErr::operator=(const CImgErr &) { return *this; }

ImgErr CImgErr::get() { return sm_errcode; }

void CImgErr::set(ImgErr code, char * /*file*/, int /*line*/) {
  ++sm_errtotal;
  sm_errcode = code;
}

ImgErr CImgErr::setr(ImgErr code, char * /*file*/, int /*line*/) {
  ++sm_errtotal;
  sm_errcode = code;
  return code;
}
