#pragma once

#include <CoreFoundation/CoreFoundation.h>

#define VORN_DEPRECATED_CARBON __attribute__((availability(macos, introduced = 10.0, deprecated = 10.8)))

extern "C" {

typedef int16_t SInt16;
typedef SInt16 OSErr;
typedef UInt32 OSType;
typedef SInt16 FSVolumeRefNum;

struct FSRef {
  UInt8 hidden[80];
};

enum { noErr = 0 };
enum { kUserDomain = -32763 };
enum { kDontCreateFolder = false, kCreateFolder = true };
enum { kCurrentUserFolderType = 'cusr' };
enum {
  gestaltSystemVersionMajor = 'sys1',
  gestaltSystemVersionMinor = 'sys2',
  gestaltSystemVersionBugFix = 'sys3',
};

VORN_DEPRECATED_CARBON
OSErr FSFindFolder(FSVolumeRefNum volume, OSType folderType, Boolean createFolder, FSRef* found);
VORN_DEPRECATED_CARBON OSStatus FSRefMakePath(const FSRef* folder, UInt8* path, UInt32 pathBufferSize);
VORN_DEPRECATED_CARBON OSErr Gestalt(OSType selector, SInt32* response);
}
