// Does nothing, but is linked like the real program: measures the cost of starting a process.
int main() {
  return 0;
}
