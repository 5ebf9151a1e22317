#pragma once

/**
 * A pause before a prompt that follows one that was cancelled: a second, and twice as long after each further
 * one, up to a minute. Whoever cancels is not to be worn down by a page that asks again. It holds across
 * processes for as long as the user's session has a folder for such things (XDG_RUNTIME_DIR).
 */
namespace vorn::prompt::cancel_pause {

/** Sleeps until the next prompt may come. */
void keep();
void noteCancelled();
void noteAnswered();

}  // namespace vorn::prompt::cancel_pause
