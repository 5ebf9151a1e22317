/** What a process costs that does nothing: the measure of a cold start. */
int main() {
  return 0;
}
