#pragma once

// GoogleTest asks for it on macOS, and for nothing in it.
