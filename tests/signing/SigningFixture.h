#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Bytes.h"

/** Signs with XMLSigner, and shows what it throws as "code message": 103 for the parser's exceptions. */
std::string signXml(const std::string& xml);
std::string refusalOf(const std::string& base64);

/** Gives the selection's double a fresh key and certificate, and xmlsec1 both in a folder of its own. */
class SigningTest : public testing::Test {
 protected:
  static void SetUpTestSuite();
  static void TearDownTestSuite();
  void SetUp() override;

  /** Whether xmlsec1 accepts the signature of the named element, document by document. */
  static std::vector<bool> verify(const std::vector<std::string>& documents, const std::string& element);

  static const std::string& folder() { return folder_; }

 private:
  static std::string folder_;
};
