// A first program against the installed SDK: guards a counter with the library's Mutex and
// shows how a library fault reads.
#include <iostream>

#include <orvamesh/orvamesh.h>

int main() {
  using namespace ORVA::MESH::SDK;
  Mutex mutex;
  int counter = 0;
  Mutex::CallWithLock(mutex, [&] { ++counter; });
  std::cout << "locked call ran, counter = " << counter << "\n";
  try {
    EpollWrapper epoll(EPOLL_CLOEXEC);
    epoll.DelFd(12345);  // never registered: the library says where and why
  } catch (const Exception::RuntimeException& e) {
    std::cout << "caught: " << e.what() << "\n";
  }
  return counter == 1 ? 0 : 1;
}
