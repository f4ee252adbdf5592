// A program that does nothing, linked as the real one: what starting a process costs by itself.
int main() {
  return 0;
}
