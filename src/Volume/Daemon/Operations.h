// SPDX-License-Identifier: MIT
#pragma once

#include <fuse_lowlevel.h>

#include <cstdint>

// What the kernel asks of a volume, one function a request; each answers it exactly once.
namespace quillbrook::Operations {

// All of them.
[[nodiscard]] fuse_lowlevel_ops table();

// LookupOperations.cpp
void lookup(fuse_req_t request, fuse_ino_t parent, const char* name);
void forget(fuse_req_t request, fuse_ino_t number, std::uint64_t lookups);
void forgetMany(fuse_req_t request, std::size_t count, fuse_forget_data* forgets);

// AttributeOperations.cpp
void getattr(fuse_req_t request, fuse_ino_t number, fuse_file_info* file);
void setattr(fuse_req_t request, fuse_ino_t number, struct stat* wanted, int set, fuse_file_info* file);
void readlink(fuse_req_t request, fuse_ino_t number);
void statfs(fuse_req_t request, fuse_ino_t number);

// ListingOperations.cpp
void opendir(fuse_req_t request, fuse_ino_t number, fuse_file_info* file);
void readdir(fuse_req_t request, fuse_ino_t number, std::size_t size, off_t offset, fuse_file_info* file);
void readdirplus(fuse_req_t request, fuse_ino_t number, std::size_t size, off_t offset, fuse_file_info* file);
void fsyncdir(fuse_req_t request, fuse_ino_t number, int isDataOnly, fuse_file_info* file);

// HandleOperations.cpp
void open(fuse_req_t request, fuse_ino_t number, fuse_file_info* file);
void release(fuse_req_t request, fuse_ino_t number, fuse_file_info* file);
void read(fuse_req_t request, fuse_ino_t number, std::size_t size, off_t offset, fuse_file_info* file);
void lseek(fuse_req_t request, fuse_ino_t number, off_t offset, int whence, fuse_file_info* file);
void fsync(fuse_req_t request, fuse_ino_t number, int isDataOnly, fuse_file_info* file);

// WriteOperations.cpp
void write(fuse_req_t request, fuse_ino_t number, const char* bytes, std::size_t size, off_t offset,
           fuse_file_info* file);
void fallocate(fuse_req_t request, fuse_ino_t number, int mode, off_t offset, off_t length, fuse_file_info* file);
void copyFileRange(fuse_req_t request, fuse_ino_t from, off_t fromOffset, fuse_file_info* fromFile, fuse_ino_t to,
                   off_t toOffset, fuse_file_info* toFile, std::size_t length, int flags);

// CreationOperations.cpp
void create(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode, fuse_file_info* file);
void mknod(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode, dev_t device);
void mkdir(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode);
void symlink(fuse_req_t request, const char* target, fuse_ino_t parent, const char* name);
void link(fuse_req_t request, fuse_ino_t number, fuse_ino_t parent, const char* name);

// NameOperations.cpp
void unlink(fuse_req_t request, fuse_ino_t parent, const char* name);
void rmdir(fuse_req_t request, fuse_ino_t parent, const char* name);
void rename(fuse_req_t request, fuse_ino_t parent, const char* name, fuse_ino_t newParent, const char* newName,
            unsigned flags);

// ExtendedAttributeOperations.cpp
void getxattr(fuse_req_t request, fuse_ino_t number, const char* name, std::size_t size);
void setxattr(fuse_req_t request, fuse_ino_t number, const char* name, const char* value, std::size_t size, int flags);
void listxattr(fuse_req_t request, fuse_ino_t number, std::size_t size);
void removexattr(fuse_req_t request, fuse_ino_t number, const char* name);

// IoctlOperations.cpp
void ioctl(fuse_req_t request, fuse_ino_t number, unsigned command, void* argument, fuse_file_info* file,
           unsigned flags, const void* input, std::size_t inputSize, std::size_t outputSize);

}  // namespace quillbrook::Operations
