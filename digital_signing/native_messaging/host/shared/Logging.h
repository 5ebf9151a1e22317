#pragma once

#include <string>

namespace vorn {

/**
 * The log file "vorn-signing.log" in the user's home folder. It is for the user alone (mode 0600): at DEBUG
 * it holds whole requests. Whatever fails here, the host goes on without a log.
 */
namespace logging {

/** Called once, before anything is logged. */
void setUp();

/** Attaches the one appender of the host to `path`, in the place of any it had. */
void configure(const std::string& path);

/**
 * Sets the level for the request at hand: DEBUG when `verbose` is "ON", or empty while VORN_VERBOSE_LOGGING
 * is "ON" in the environment; INFO otherwise. A file that has outgrown the level's limit, or that
 * somebody has deleted, is started again. What a request has logged in full is bounded, whatever it holds.
 */
void setVerbose(const std::string& verbose);

}  // namespace logging

}  // namespace vorn
